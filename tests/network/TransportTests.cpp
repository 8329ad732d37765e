#include "errors/VMRError.h"
#include "network/ExchangeReport.h"
#include "network/VMRNetworkManager.h"
#include "platform/JSON.h"
#include "support/TestPlatform.h"

#include <gtest/gtest.h>

#include <thread>

namespace vmr::test {
namespace {

using Calls = std::vector<std::string>;

/// Writes down, in order, what a request calls.
struct Recorder final : VMRNetworkManagerDelegate {
    void networkManager(VMRNetworkManager &, std::int64_t status) override {
        calls.push_back("delegate " + std::to_string(status));
    }
    Calls calls;
};

class Transport : public testing::Test {
protected:
    void send() {
        manager->requestWithMethodType(
            VMRHttpMethodTypePOST, false, "x", {}, {},
            [this](const Value &) { recorder->calls.push_back("success"); },
            [this](std::int64_t status, std::shared_ptr<VMRError> error) {
                recorder->calls.push_back("error " + std::to_string(status));
                record = std::move(error);
            });
    }
    Calls takeCalls() {
        EXPECT_EQ(recorder->calls, Calls{}) << "handlers wait for the main queue";
        services.loops->runDue();
        return std::exchange(recorder->calls, {});
    }

    TestPlatform services;
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::shared_ptr<VMRError> record;
    std::shared_ptr<VMRNetworkManager> manager = [this] {
        auto made = std::make_shared<VMRNetworkManager>();
        made->setApiKey("k1", {"s3"}, recorder);
        return made;
    }();
};

TEST_F(Transport, AnAnswerWhoseDescriptionWouldFillTheMemoryIsCutThere) {
    const std::string deep = std::string(500, '[') + std::string(500, ']') + ',';
    std::string body = "[";
    for (int i = 0; i < 100; ++i)
        body += deep;
    body.back() = ']';
    send();
    services.http->complete(0, {std::nullopt, 500, Data(body)});
    EXPECT_EQ(takeCalls().front(), "error 500");
    const std::string response = valueForKey(*record->metadata(), "response").description();
    EXPECT_EQ(response.size(), (1u << 20) + 3);
    EXPECT_TRUE(response.ends_with("..."));
}

TEST_F(Transport, HandlersAndDelegateMayBeMissing) {
    for (const std::int64_t status : {200, 404}) {
        manager->requestWithMethodType(VMRHttpMethodTypePOST, false, "x", {}, {}, nullptr, nullptr);
        services.http->answer(services.http->sentCount() - 1, status);
    }
    EXPECT_EQ(takeCalls(), Calls{"delegate 404"});
    // The delegate is the one of the moment the main queue gets there, and is held weakly.
    send();
    services.http->answer(2, 404);
    manager->setDelegate(std::make_shared<Recorder>());
    EXPECT_EQ(takeCalls(), Calls{"error 404"});
    services.guard->decision.allowed = false;
    send();
    EXPECT_EQ(takeCalls(), Calls{"error 0"});
    manager->requestWithMethodType(VMRHttpMethodTypePOST, false, "x", {}, {}, nullptr, nullptr);
    EXPECT_EQ(takeCalls(), Calls{});
}

TEST_F(Transport, BackgroundTaskIsEndedOnceByWhoeverComesFirst) {
    auto &tasks = *services.backgroundTasks;
    send();
    EXPECT_EQ(tasks.names, std::vector<std::string>{"VMRHttpRequest"});
    EXPECT_TRUE(tasks.ended.empty());
    services.http->answer(0, 200);
    EXPECT_EQ(takeCalls(), Calls{"success"});
    send();
    const auto expire = tasks.running.at(2);
    expire();
    services.http->answer(1, 200);
    EXPECT_EQ(tasks.ended,
              (std::vector<BackgroundTasks::Identifier>{1, 2, BackgroundTasks::invalid}));
}

TEST_F(Transport, DeepestValueThatCanBeReadDoesNotCostTheBody) {
    const auto deepest = readJSON(std::string(512, '[') + std::string(512, ']'));
    const Dictionary item{{"consentString", std::get<Value>(deepest)}};
    manager->postDatas(Value::list({Value::dictionary(item)}), VMRIngestTypeConsents, {}, nullptr,
                       nullptr);
    HTTPRequest request = services.http->sent().back();
    EXPECT_TRUE(request.body.make() && request.body.isPresent());
}

TEST_F(Transport, AnAnswerThatThereIsNoMemoryForEndsTheRequestAllTheSame) {
    struct NoMemory final : MainBundle {
        std::optional<std::string> bundleIdentifier() const override { throw std::bad_alloc(); }
        Value objectForInfoDictionaryKey(std::string_view) const override {
            throw std::bad_alloc();
        }
    };
    send();
    Platform starved = platform();
    static auto &noMemory = *new NoMemory;
    starved.mainBundle = &noMemory;
    installPlatform(starved);
    services.http->answer(0, 500);
    EXPECT_EQ(takeCalls(), (Calls{"error 500", "delegate 500"}));
    EXPECT_EQ(record, nullptr);
}

TEST_F(Transport, TheHostIsToldOnceOfEachEndAfterTheHandler) {
    services.notifications->addObserver(
        recorder, VMRExchangeDidEndNotification, [&](const Notification &ended) {
            const auto &report = *static_cast<const ExchangeReport *>(ended.object);
            recorder->calls.push_back((report.delivered ? "delivered " : "stays ") +
                                      std::to_string(report.status.value_or(0)) + " " +
                                      std::to_string(report.error ? report.error->code : 0));
        });
    const auto answer = [&](std::int64_t status, const std::string &body) {
        send();
        services.http->answer(services.http->sentCount() - 1, status, body);
        return takeCalls();
    };
    EXPECT_EQ(answer(200, "{}"), (Calls{"success", "delivered 200 0"}));
    EXPECT_EQ(answer(200, "<html>"), (Calls{"error 200", "delegate 200", "stays 200 0"}));
    EXPECT_EQ(answer(404, ""), (Calls{"error 404", "delegate 404", "stays 404 0"}));
    services.guard->decision = {false, "a proxy"};
    send();
    EXPECT_EQ(takeCalls(), (Calls{"error 0", "stays 0 -999"}));
    EXPECT_EQ(lastExchange().get()->error->debugDescription(), "a proxy");

    services.guard->decision = {};
    manager->postDatas(
        Value::list({Value(), Value()}), VMRIngestTypeDevicesErrors, {},
        [](const Value &) { throw std::bad_alloc(); }, nullptr);
    services.http->complete(services.http->sentCount() - 1, {std::nullopt, 200, {}, 7});
    EXPECT_THROW(services.loops->runDue(), std::bad_alloc);
    EXPECT_EQ(recorder->calls, Calls{"delivered 200 0"}) << "what a handler throws is not its end";
    EXPECT_EQ(lastExchange().get()->kind, VMRIngestTypeDevicesErrors);
    EXPECT_EQ(lastExchange().get()->events, 2u);
    EXPECT_EQ(lastExchange().get()->bytes, 7u);
}

TEST_F(Transport, ExpirationMayRaceWithCompletion) {
    for (std::size_t i = 0; i < 50; ++i) {
        send();
        std::thread expiring(services.backgroundTasks->running.at(i + 1));
        services.http->answer(i, 200);
        expiring.join();
    }
    EXPECT_TRUE(services.backgroundTasks->running.empty());
}

TEST_F(Transport, CredentialsMayChangeWhileRequestsAreMade) {
    std::thread host([&] {
        for (int i = 0; i < 200; ++i)
            manager->setApiKey(std::string(40, 'k'), {std::string(40, 's')}, recorder);
    });
    for (int i = 0; i < 200; ++i) {
        const auto headers = manager->authVMRHeaderForRelativeURL("consents", true);
        EXPECT_EQ(headers.size(), 6u);
    }
    host.join();
}

TEST(NetworkManager, BaseAddressIsReadOnce) {
    const TestPlatform services;
    const auto &first = VMRNetworkManager::s();
    ASSERT_EQ(first.size(), 1u);
    services.bundle->information["VMRIngestBaseAddress"] = Value::string("https://other.example/");
    EXPECT_EQ(&VMRNetworkManager::s(), &first);
    EXPECT_EQ(VMRNetworkManager::s().front(), "http://127.0.0.1:9/ingest/");
}

} // namespace
} // namespace vmr::test
