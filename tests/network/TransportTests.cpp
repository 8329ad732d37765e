#include "errors/VMRError.h"
#include "network/VMRNetworkManager.h"
#include "support/TestPlatform.h"

#include <gtest/gtest.h>

#include <thread>

namespace vmr::test {
namespace {

/// Writes down, in order, what a request calls.
struct Recorder final : VMRNetworkManagerDelegate {
    void networkManager(VMRNetworkManager &, std::int64_t status) override {
        calls.push_back("delegate " + std::to_string(status));
    }
    VMRSuccessHandler onSuccess() {
        return [this](const Value &response) {
            calls.push_back("success");
            object = response;
        };
    }
    VMRErrorHandler onError() {
        return [this](std::int64_t status, std::shared_ptr<VMRError> error) {
            calls.push_back("error " + std::to_string(status));
            record = std::move(error);
        };
    }
    std::string recorded(const char *key) const {
        return valueForKey(record->metadata().value(), key).description();
    }

    std::vector<std::string> calls;
    Value object;
    std::shared_ptr<VMRError> record;
};

using Calls = std::vector<std::string>;

class Transport : public testing::Test {
protected:
    void send(VMRHttpMethodType method, const std::optional<Dictionary> &params,
              bool isGZIP = false, std::string url = "http://127.0.0.1:9/x",
              const Dictionary &headers = {}) {
        manager->requestWithMethodType(method, isGZIP, std::move(url), headers, params,
                                       recorder->onSuccess(), recorder->onError());
    }
    HTTPRequest lastSent() {
        HTTPRequest request = services.http->sent().back();
        EXPECT_TRUE(request.body.make());
        return request;
    }
    Calls takeCalls() {
        services.loops->runDue();
        return std::exchange(recorder->calls, {});
    }

    TestPlatform services;
    std::shared_ptr<Recorder> recorder = std::make_shared<Recorder>();
    std::shared_ptr<VMRNetworkManager> manager = [this] {
        auto made = std::make_shared<VMRNetworkManager>();
        made->setApiKey("k1", "s3", recorder);
        return made;
    }();
};

TEST_F(Transport, ParametersOfAGetTravelUnescapedInTheQuery) {
    const Dictionary params{{"a", Value::integer(1)}, {"b", Value::string("two words")}};
    send(VMRHttpMethodTypeGET, params, true, "x");
    EXPECT_EQ(lastSent().url, "x?a=1&b=two words");
    EXPECT_EQ(lastSent().method, "GET");
    EXPECT_FALSE(lastSent().body.isPresent());

    send(VMRHttpMethodTypeGET, params, false, "x?c=3");
    EXPECT_EQ(lastSent().url, "x?c=3?a=1&b=two words");
    for (const auto &nothing : {std::optional<Dictionary>(), std::optional(Dictionary())}) {
        send(VMRHttpMethodTypeGET, nothing, false, "x");
        EXPECT_EQ(lastSent().url, "x");
    }
}

TEST_F(Transport, BodyIsCompactJSON) {
    const Dictionary params{{"a", Value::list({Value::integer(1), Value::null()})}};
    send(VMRHttpMethodTypePUT, params);
    EXPECT_EQ(lastSent().method, "PUT");
    EXPECT_EQ(lastSent().body.bytes(), R"({"a":[1,null]})");
}

TEST_F(Transport, ParametersThatAreNoJSONLeaveTheBodyOut) {
    services.bundle->information["VMRLogsEnabled"] = Value::boolean(true);
    send(VMRHttpMethodTypePOST, Dictionary{{"when", Value::date(Date{})}}, true);
    EXPECT_FALSE(lastSent().body.isPresent());
    send(VMRHttpMethodTypePOST, std::nullopt, false);
    EXPECT_FALSE(lastSent().body.isPresent());
    EXPECT_EQ(services.log->count("[VMR] -> is GZip: 1 ; data size: 0 bytes "), 1u);
    EXPECT_EQ(services.log->count("[VMR] -> is GZip: 0 ; data size: 0 bytes "), 1u);

    send(VMRHttpMethodTypeGET, std::nullopt, true);
    EXPECT_EQ(services.log->countContaining("is GZip"), 2u);
}

TEST_F(Transport, HeadersGoOutAsTheirTexts) {
    send(VMRHttpMethodTypePOST, Dictionary(), true, "x",
         {{"A", Value::integer(5)}, {"content-length", Value::string("1")}});
    EXPECT_EQ(ScriptedHTTPSession::header(lastSent(), "A"), "5");
    EXPECT_EQ(lastSent().headers.size(), 2u);
}

TEST_F(Transport, AnAnswerWhoseDescriptionWouldFillTheMemoryIsCutThere) {
    const std::string deep = std::string(500, '[') + std::string(500, ']') + ',';
    std::string body = "[";
    for (int i = 0; i < 100; ++i)
        body += deep;
    body.back() = ']';
    send(VMRHttpMethodTypeGET, std::nullopt, false, "u");
    services.http->complete(0, {std::nullopt, 500, Data(body)});
    EXPECT_EQ(takeCalls().front(), "error 500");
    const std::string response = recorder->recorded("response");
    EXPECT_EQ(response.size(), (1u << 20) + 3);
    EXPECT_TRUE(response.ends_with("..."));
}

TEST_F(Transport, OutcomeDecidesHandlerStatusAndFailureText) {
    const PlatformError timeout{NSURLErrorDomain, -1001, {}};
    const auto answer = [](std::int64_t status, std::string body) {
        return HTTPOutcome{std::nullopt, status, Data(std::move(body))};
    };
    struct Case {
        HTTPOutcome outcome;
        std::int64_t status;
        std::string failure;
    };
    const std::vector<Case> failures{
        {{timeout, std::nullopt, Data()},
         0,
         "-> request failed with error: " + timeout.description()},
        {{std::nullopt, std::nullopt, Data("{}")}, 0, "-> received a non-http response"},
        {answer(401, "{}"), 401, "-> failed to connect to server, incorrect key"},
        {answer(500, "oops"), 500, "(null)"},
        {answer(500, R"({"why":"full"})"), 500, "{\n    why = full;\n}"},
        {answer(204, ""), 204, "-> received a response with http status code 204"},
        {answer(201, "[]"), 201, "(\n)"},
        {answer(302, ""), 302, "-> received a response with http status code 302"},
    };
    for (std::size_t i = 0; i < failures.size(); ++i) {
        SCOPED_TRACE(failures[i].failure);
        const bool logged = i % 2 == 0;
        services.bundle->information["VMRLogsEnabled"] = Value::boolean(logged);
        send(VMRHttpMethodTypeGET, Dictionary{{"q", Value::integer(1)}}, false, "u");
        std::thread session([&] { services.http->complete(i, failures[i].outcome); });
        session.join();
        EXPECT_EQ(services.log->count("[VMR] " + failures[i].failure), logged ? 1u : 0u);
        EXPECT_EQ(recorder->calls, Calls{}) << "handlers wait for the main queue";
        const std::string status = std::to_string(failures[i].status);
        EXPECT_EQ(takeCalls(), (Calls{"error " + status, "delegate " + status}));
        EXPECT_EQ(recorder->record->error(), "iOS HttpError");
        EXPECT_EQ(recorder->record->message(), std::nullopt);
        EXPECT_EQ(recorder->record->stacktrace(), std::nullopt);
        EXPECT_EQ(recorder->record->metadata()->size(), 3u);
        EXPECT_EQ(recorder->recorded("url"), "u?q=1");
        EXPECT_EQ(recorder->recorded("status_code"), status);
        EXPECT_EQ(recorder->recorded("response"), failures[i].failure);
    }
}

TEST_F(Transport, BodyOf200MustBeAnObjectOrAListOrEmpty) {
    for (const char *body : {"\"text\"", "3", "{", "<html>"}) {
        send(VMRHttpMethodTypePOST, Dictionary());
        services.http->answer(services.http->sentCount() - 1, 200, body);
        EXPECT_EQ(takeCalls(), (Calls{"error 200", "delegate 200"})) << body;
        const std::string text = "-> unable to create an object from the received data: Error ";
        EXPECT_EQ(recorder->recorded("response").substr(0, text.size()), text);
    }
    send(VMRHttpMethodTypePOST, Dictionary());
    services.http->answer(services.http->sentCount() - 1, 200, "");
    EXPECT_EQ(takeCalls(), Calls{"success"});
    EXPECT_TRUE(recorder->object.isAbsent());
}

TEST_F(Transport, HandlersAndDelegateMayBeMissing) {
    for (const std::int64_t status : {200, 404}) {
        manager->requestWithMethodType(VMRHttpMethodTypePOST, false, "x", {}, {}, nullptr, nullptr);
        services.http->answer(services.http->sentCount() - 1, status);
    }
    EXPECT_EQ(takeCalls(), Calls{"delegate 404"});
    // The delegate is the one of the moment the main queue gets there, and is held weakly.
    send(VMRHttpMethodTypePOST, Dictionary());
    services.http->answer(2, 404);
    manager->setDelegate(std::make_shared<Recorder>());
    EXPECT_EQ(takeCalls(), Calls{"error 404"});
}

TEST_F(Transport, BackgroundTaskIsEndedOnceByWhoeverComesFirst) {
    auto &tasks = *services.backgroundTasks;
    send(VMRHttpMethodTypePOST, Dictionary());
    EXPECT_EQ(tasks.names, std::vector<std::string>{"VMRHttpRequest"});
    EXPECT_TRUE(tasks.ended.empty());
    services.http->answer(0, 200);
    send(VMRHttpMethodTypePOST, Dictionary());
    const auto expire = tasks.running.at(2);
    expire();
    services.http->answer(1, 200);
    EXPECT_EQ(tasks.ended,
              (std::vector<BackgroundTasks::Identifier>{1, 2, BackgroundTasks::invalid}));
}

TEST_F(Transport, ExpirationMayRaceWithCompletion) {
    for (std::size_t i = 0; i < 50; ++i) {
        send(VMRHttpMethodTypePOST, Dictionary());
        std::thread expiring(services.backgroundTasks->running.at(i + 1));
        services.http->answer(i, 200);
        expiring.join();
    }
    EXPECT_TRUE(services.backgroundTasks->running.empty());
}

TEST_F(Transport, RefusedTrafficIsNeverSent) {
    services.bundle->information["VMRLogsEnabled"] = Value::boolean(true);
    services.guard->decision = {false, "a proxy is configured"};
    send(VMRHttpMethodTypePOST, Dictionary());
    EXPECT_EQ(services.http->tasks(), 1u);
    EXPECT_EQ(services.http->sentCount(), 0u);
    EXPECT_EQ(services.log->count("[VMR] a proxy is configured"), 1u);

    EXPECT_EQ(recorder->calls, Calls{});
    EXPECT_EQ(takeCalls(), Calls{"error 0"});
    EXPECT_EQ(recorder->record, nullptr);
    EXPECT_EQ(services.backgroundTasks->running.size(), 1u);
    manager->requestWithMethodType(VMRHttpMethodTypePOST, false, "x", {}, {}, nullptr, nullptr);
    EXPECT_EQ(takeCalls(), Calls{});
}

TEST_F(Transport, CredentialsMayChangeWhileRequestsAreMade) {
    std::thread host([&] {
        for (int i = 0; i < 200; ++i)
            manager->setApiKey(std::string(40, 'k'), std::string(40, 's'), recorder);
    });
    for (int i = 0; i < 200; ++i) {
        const auto headers = manager->authVMRHeaderForRelativeURL("consents", true);
        EXPECT_EQ(headers.size(), 6u);
    }
    host.join();
}

TEST(NetworkManager, NamesOfMethodsAndPaths) {
    EXPECT_EQ(VMRNetworkManager::httpMethodTypeString(0), std::nullopt);
    EXPECT_EQ(VMRNetworkManager::httpMethodTypeString(1), "GET");
    EXPECT_EQ(VMRNetworkManager::httpMethodTypeString(2), "POST");
    EXPECT_EQ(VMRNetworkManager::httpMethodTypeString(3), "PUT");
    EXPECT_EQ(VMRNetworkManager::httpMethodTypeString(4), "DELETE");
    EXPECT_EQ(VMRNetworkManager::httpMethodTypeString(5), std::nullopt);
    EXPECT_EQ(VMRNetworkManager::httpRequestTypeString(1, {"id", "more"}), "devices/id");
    EXPECT_EQ(VMRNetworkManager::httpRequestTypeString(2, {"id"}), std::nullopt);
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
