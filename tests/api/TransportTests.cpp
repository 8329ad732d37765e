#include "api/HostFixture.h"
#include "tools/RawPost.h"

#include <atomic>
#include <cmath>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <thread>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::HasSubstr;

/// A host that sends the requests itself, or does with them what a test asks for.
class OwnTransportTest : public HostTest {
protected:
    struct Ended {
        int kind, delivered, status, error;
        std::size_t events, bytes;
        std::string text;
    };

    ~OwnTransportTest() override {
        if (worker_.joinable())
            worker_.join();
    }

    void startSDK(double timeout = 0) {
        velmora_transport transport{};
        transport.size = sizeof transport;
        transport.start = [](const velmora_http_request *request, void *self) {
            static_cast<OwnTransportTest *>(self)->take(*request);
        };
        transport.cancel = [](std::uint64_t id, void *context) {
            auto *self = static_cast<OwnTransportTest *>(context);
            self->cancelled_.push_back(id);
            EXPECT_EQ(VELMORA_NOT_FOUND, velmora_transport_answer(id, 200, "", 0));
        };
        transport.context = this;
        transport.timeout = timeout;
        ASSERT_EQ(VELMORA_OK, velmora_set_transport(&transport)) << velmora_last_error_message();
        velmora_options given = options();
        given.ingest_base_address = address_.c_str();
        given.keep_unsent = 1;
        ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
        ASSERT_EQ(VELMORA_OK, velmora_start("k1", "s3"));
        observation_ = VelmoraKit::Velmora::sharedVelmora().observeExchanges(
            [this, main = std::this_thread::get_id()](const velmora_exchange &exchange) {
                EXPECT_EQ(main, std::this_thread::get_id());
                EXPECT_EQ(sizeof exchange, exchange.size);
                EXPECT_GE(exchange.duration, 0);
                EXPECT_GT(exchange.time, 1.7e9);
                ended_.push_back({exchange.kind, exchange.delivered, exchange.status,
                                  exchange.error_code, exchange.events, exchange.bytes,
                                  exchange.error != nullptr ? exchange.error : ""});
                throw std::runtime_error("a host's fault");
            });
        ASSERT_TRUE(observation_);
    }

    /// Posts what waits, with `send` in the transport's place, and runs until that has ended.
    const Ended &post(std::function<void(const velmora_http_request &)> send) {
        send_ = std::move(send);
        const std::size_t before = ended_.size();
        EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
        runUntilIdle();
        EXPECT_EQ(before + 1, ended_.size()) << "exactly once an exchange";
        return ended_.back();
    }
    const Ended &postAnswering(int status, const std::string &body) {
        return post([=](const velmora_http_request &request) {
            EXPECT_EQ(VELMORA_OK,
                      velmora_transport_answer(request.id, status, body.data(), body.size()));
        });
    }

    std::string address_ = "http://127.0.0.1:1/";
    std::function<void(const velmora_http_request &)> send_;
    std::thread worker_;
    std::vector<std::uint64_t> cancelled_;
    std::vector<Ended> ended_;

private:
    void take(const velmora_http_request &request) {
        EXPECT_EQ(sizeof request, request.size);
        send_(request);
    }

    VelmoraKit::ExchangeObservation observation_;
};

#ifdef VELMORA_PROGRAM
TEST_F(OwnTransportTest, PostsToARealServiceFromAThreadOfTheHosts) {
    Program service({VELMORA_PROGRAM, "ingest", "--api-key", "k1", "--secret", "s3"});
    address_ = service.read()["listening"];
    const int port = std::stoi(address_.substr(address_.rfind(':') + 1));
    if (address_.back() != '/')
        address_ += '/';
    startSDK();
    std::size_t sent = 0;
    const Ended &ended = post([&](const velmora_http_request &request) {
        RawPost post;
        post.method = request.method;
        post.path = std::string(request.url).substr(address_.size() - 1);
        post.headers.emplace_back("Host", "localhost");
        for (std::size_t i = 0; i < request.header_count; ++i)
            post.headers.emplace_back(request.headers[i].name, request.headers[i].value);
        post.body.assign(static_cast<const char *>(request.body), request.body_length);
        sent = request.body_length;
        worker_ = std::thread([post, port, id = request.id] {
            const std::string answer = post.send(port);
            const std::string body = answer.substr(answer.find("\r\n\r\n") + 4);
            EXPECT_EQ(VELMORA_OK, velmora_transport_answer(id, std::stoi(answer.substr(9)),
                                                           body.data(), body.size()));
        });
    });
    const json report = service.read();
    EXPECT_EQ(report["sound"], true) << report;
    EXPECT_EQ(report["signature"], "right");
    EXPECT_EQ(report["items"].size(), 2u);
    EXPECT_EQ(ended.kind, VELMORA_EXCHANGE_CONSENTS);
    EXPECT_EQ(ended.delivered, 1);
    EXPECT_EQ(ended.status, 200);
    EXPECT_EQ(ended.error, 0);
    EXPECT_EQ(ended.events, 2u);
    EXPECT_EQ(ended.bytes, sent);
    const auto &velmora = VelmoraKit::Velmora::sharedVelmora();
    EXPECT_THAT(velmora.status(), HasSubstr("\"storedConsentEvents\":[]"));
    EXPECT_THAT(velmora.diagnose(), HasSubstr("\"error\":null,\"status\":200"));
}
#endif

TEST_F(OwnTransportTest, TheFirstAnswerCountsAndEveryOtherHasNoEffect) {
    startSDK();
    std::uint64_t id = 0;
    post([&](const velmora_http_request &request) {
        id = request.id;
        worker_ = std::thread([id] {
            std::atomic<int> taken{0};
            std::vector<std::thread> threads;
            for (int i = 0; i < 8; ++i)
                threads.emplace_back([id, i, &taken] {
                    const velmora_result result =
                        i % 2 != 0 ? velmora_transport_answer(id, 500, "", 0)
                                   : velmora_transport_fail(id, "the line is down");
                    EXPECT_TRUE(result == VELMORA_OK || result == VELMORA_NOT_FOUND);
                    taken += result == VELMORA_OK ? 1 : 0;
                });
            for (std::thread &thread : threads)
                thread.join();
            EXPECT_EQ(taken, 1);
        });
    });
    EXPECT_EQ(VELMORA_NOT_FOUND, velmora_transport_answer(id, 200, "", 0));
    EXPECT_EQ(VELMORA_NOT_FOUND, velmora_transport_fail(id + 1, "none"));
    EXPECT_EQ(postAnswering(200, "").delivered, 1) << "answered before start returned";
    EXPECT_THAT(VelmoraKit::Velmora::sharedVelmora().diagnose(),
                HasSubstr(R"("pending":{"delayedCalls":0,"jobs":0,"reason":null})"));
}

TEST_F(OwnTransportTest, ARequestWithoutAnAnswerIsGivenUpAndTheNextOneIsSent) {
    startSDK(1); // a busy machine must have begun the request by then
    std::uint64_t id = 0;
    const Ended ended = post([&](const velmora_http_request &request) { id = request.id; });
    EXPECT_EQ(ended.error, -1001);
    EXPECT_EQ(ended.delivered, 0);
    EXPECT_THAT(cancelled_, ElementsAre(id));
    EXPECT_EQ(VELMORA_NOT_FOUND, velmora_transport_answer(id, 200, "", 0));
    EXPECT_EQ(postAnswering(200, "{}").events, 2u) << "the events have stayed";
    EXPECT_THAT(cancelled_, ElementsAre(id));
}

TEST_F(OwnTransportTest, AnswersAreJudgedAsThoseOfTheLibrarysOwnTransport) {
    startSDK();
    EXPECT_EQ(postAnswering(503, "").status, 503);
    EXPECT_EQ(postAnswering(200, "<html>").delivered, 0);
    const Ended tooLong = postAnswering(200, std::string(1024 * 1024 + 1, ' '));
    EXPECT_EQ(tooLong.error, -1103);
    EXPECT_EQ(tooLong.status, 0);
    const Ended failed = post([](const velmora_http_request &request) {
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_transport_answer(request.id, 199, "", 0));
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_transport_answer(request.id, 600, "", 0));
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_transport_answer(request.id, 200, nullptr, 1));
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_transport_fail(request.id, nullptr));
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_transport_fail(request.id, "two\nlines"));
        EXPECT_EQ(VELMORA_INVALID_UTF8, velmora_transport_fail(request.id, "\xff"));
        EXPECT_EQ(VELMORA_OK, velmora_transport_fail(request.id, "no route"));
    });
    EXPECT_EQ(failed.error, -1);
    EXPECT_EQ(failed.text, "no route");
    const Ended threw = post([](const velmora_http_request &) { throw std::runtime_error("x"); });
    EXPECT_EQ(threw.error, -1);
    EXPECT_TRUE(cancelled_.empty());
}

TEST_F(OwnTransportTest, AnAnswerAtTheProcesssEndIsTaken) {
    static std::uint64_t waiting = 0;
    // Runs after what the SDK registers later.
    std::atexit([] {
        if (velmora_transport_answer(waiting, 200, "", 0) != VELMORA_OK)
            _exit(1);
    });
    startSDK();
    send_ = [](const velmora_http_request &request) {
        waiting = request.id;
        EXPECT_EQ(VELMORA_OK, velmora_run_loop_stop());
    };
    ASSERT_EQ(VELMORA_OK, velmora_will_enter_foreground());
    ASSERT_EQ(VELMORA_OK, velmora_run_loop_run(60));
    EXPECT_NE(waiting, 0u);
}

TEST_F(HostTest, ATransportIsCheckedAndComesBeforeTheFirstUse) {
    velmora_transport transport{};
    transport.size = sizeof transport;
    const auto refused = [](const velmora_transport *given) {
        EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_set_transport(given));
        expectRecorded(std::string("velmora_set_transport -> ") + velmora_last_error_message());
    };
    refused(nullptr);
    refused(&transport); // without a start
    transport.start = [](const velmora_http_request *, void *) {};
    transport.timeout = -HUGE_VAL;
    refused(&transport);
    transport.timeout = 0;
    transport.size = 8;
    refused(&transport);
    transport.size = sizeof transport;
    std::thread([&] { EXPECT_EQ(VELMORA_OK, velmora_set_transport(&transport)); }).join();
    EXPECT_EQ(VELMORA_NOT_FOUND, velmora_transport_answer(0, 200, nullptr, 0)) << "the first use";
    EXPECT_EQ(VELMORA_INVALID_STATE, velmora_set_transport(&transport));
}

TEST_F(HostTest, AnObservationOfExchangesEndsOnceAndReleasesItsContext) {
    configure();
    int released = 0;
    const velmora_release_callback release = [](void *context) { ++*static_cast<int *>(context); };
    velmora_exchange_observer *observer = nullptr;
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT,
              velmora_observe_exchanges(nullptr, &released, release, &observer));
    EXPECT_EQ(1, released);
    ASSERT_EQ(VELMORA_OK, velmora_start("key", "secret"));
    static velmora_exchange_observer *own = nullptr;
    const velmora_exchange_callback endItself = [](const velmora_exchange *exchange, void *) {
        EXPECT_EQ(exchange->error_code, -1004);
        EXPECT_STRNE(exchange->error, "");
        EXPECT_EQ(VELMORA_OK, velmora_unobserve_exchanges(own));
    };
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT,
              velmora_observe_exchanges(endItself, &released, release, nullptr));
    EXPECT_EQ(2, released);
    std::thread([&] {
        EXPECT_EQ(VELMORA_OK, velmora_observe_exchanges(endItself, &released, release, &own));
    }).join();
    EXPECT_EQ(VELMORA_OK, velmora_unobserve_exchanges(nullptr));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(VELMORA_OK, velmora_will_enter_foreground());
        runUntilIdle();
        EXPECT_EQ(3, released) << "after the first exchange";
    }
}

TEST_F(HostTest, ALogSinkLearnsHowMuchALineMatters) {
    static std::string lines; // the SDK may have something to say until the process ends
    const velmora_log_sink sink = [](velmora_log_level level, const char *line, std::size_t length,
                                     void *) {
        lines += std::to_string(level) + " " + std::string(line, length).substr(0, 40) + "\n";
    };
    EXPECT_EQ(VELMORA_INVALID_ARGUMENT, velmora_set_log_sink(nullptr, nullptr));
    EXPECT_EQ(VELMORA_OK, velmora_set_log_sink(sink, nullptr));
    velmora_options given = options();
    given.bundle_identifier = nullptr;
    given.information_dictionary = "{\"VMRLogsEnabled\": true}";
    given.log_callback = [](const char *, std::size_t, void *) { ADD_FAILURE(); };
    ASSERT_EQ(VELMORA_OK, velmora_configure(&given));
    ASSERT_EQ(VELMORA_OK, velmora_start(nullptr, nullptr));
    EXPECT_THAT(lines, testing::StartsWith("4 VelmoraKit: there is no bundle identifie\n"
                                           "3 VelmoraKit: there is no API key, the ser\n"
                                           "3 VelmoraKit: there is no secret, the serv\n"
                                           "7 [VMR] Velmora configureWithApiKey"));
    EXPECT_THAT(lines, HasSubstr("\n6 last: (null), new: (null)\n"));
    EXPECT_EQ(VELMORA_INVALID_STATE, velmora_set_log_sink(sink, nullptr));
}

} // namespace
} // namespace vmr::test
