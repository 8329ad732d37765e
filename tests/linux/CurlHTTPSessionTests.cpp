#include "linux/HTTPClient.h"
#include "support/LocalServer.h"
#include "support/RawServer.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <chrono>
#include <cstdlib>
#include <future>
#include <new>
#include <stdexcept>
#include <thread>
#include <utility>

namespace vmr::test {
namespace {

using testing::HasSubstr;
using testing::Not;

/// A server that keeps the bytes of the requests it gets.
struct RecordingServer {
    Mutex mutex;
    std::vector<std::string> received VMR_GUARDED_BY(mutex);
    RawServer server{[this](RawServer::Connection &connection) {
        std::string request;
        while (!(request = connection.readRequest()).empty()) {
            {
                const MutexLock lock(mutex);
                received.push_back(request);
            }
            connection.write(httpResponse("200 OK", ""));
        }
    }};

    std::string last() {
        const MutexLock lock(mutex);
        return received.empty() ? "" : received.back();
    }
};

TEST(CurlHTTPSession, SendsExactlyTheRequestsHeadersInTheirOrder) {
    RecordingServer recorder;
    HTTPClient client;
    client.send({recorder.server.address() + "1.0/consents",
                 "POST",
                 {{"X-Second", "2"},
                  {"Authorization", "Token token=abc"},
                  {"X-Empty", ""},
                  {"Accept", "application/json"}},
                 Data("body")});
    EXPECT_EQ(recorder.last(), "POST /1.0/consents HTTP/1.1\r\n"
                               "Host: 127.0.0.1:" +
                                   std::to_string(recorder.server.port()) +
                                   "\r\n"
                                   "X-Second: 2\r\n"
                                   "Authorization: Token token=abc\r\n"
                                   "X-Empty:\r\n"
                                   "Accept: application/json\r\n"
                                   "Accept-Encoding: gzip, deflate\r\n"
                                   "Content-Length: 4\r\n"
                                   "\r\n"
                                   "body");
}

TEST(CurlHTTPSession, FramesEveryMethodAndBody) {
    RecordingServer recorder;
    HTTPClient client;
    const std::string url = recorder.server.address();
    const auto sent = [&](std::optional<std::string> method, HTTPBody body,
                          std::vector<std::pair<std::string, std::string>> headers = {}) {
        client.send({url, std::move(method), std::move(headers), std::move(body)});
        return recorder.last();
    };
    EXPECT_THAT(sent(std::nullopt, {}), testing::StartsWith("GET / HTTP/1.1"));
    EXPECT_THAT(recorder.last(), Not(HasSubstr("Content-Length")));
    for (const char *method : {"POST", "PUT", "PATCH"})
        EXPECT_THAT(sent(method, {}), HasSubstr("Content-Length: 0\r\n")) << method;
    EXPECT_THAT(sent("PUT", Data("abc")), testing::StartsWith("PUT / "));
    EXPECT_THAT(recorder.last(), testing::EndsWith("Content-Length: 3\r\n\r\nabc"));
    EXPECT_THAT(sent("DELETE", Data("xy")), testing::StartsWith("DELETE / "));
    EXPECT_THAT(recorder.last(), testing::EndsWith("\r\n\r\nxy"));
    EXPECT_THAT(sent("DELETE", {}), testing::StartsWith("DELETE / "));
    // A wrong length would break the framing of the connection.
    EXPECT_THAT(sent("POST", Data("four"), {{"Content-Length", "99"}}),
                HasSubstr("Content-Length: 4\r\n"));
    EXPECT_THAT(recorder.last(), Not(HasSubstr("Content-Length: 99")));
    // Beyond a megabyte libcurl would first ask the server for its consent, and wait.
    EXPECT_THAT(sent("POST", Data(std::string(2'000'000, 'x'))), Not(HasSubstr("Expect")));
    EXPECT_EQ(recorder.server.connections(), 1u);
}

TEST(CurlHTTPSession, MakesABodyOnItsOwnThreadAndSendsNothingWithoutMemoryForIt) {
    RecordingServer recorder;
    HTTPClient client;
    std::vector<std::string> makers;
    const auto made = [&makers] {
        char name[16] = "";
        ::pthread_getname_np(::pthread_self(), name, sizeof name);
        makers.emplace_back(name);
        return std::optional(Data("made"));
    };
    client.send({recorder.server.address(), "POST", {}, HTTPBody(made)});
    EXPECT_THAT(recorder.last(), testing::EndsWith("\r\n\r\nmade"));
    EXPECT_THAT(makers, testing::ElementsAre("vmr-http")); // as a host's `top` shows it

    const HTTPOutcome outcome =
        client.send({recorder.server.address(), "POST", {}, HTTPBody([]() -> std::optional<Data> {
                         throw std::bad_alloc();
                     })});
    EXPECT_EQ(errorDetail(outcome), "out of memory; nothing was sent");
    const MutexLock lock(recorder.mutex);
    EXPECT_EQ(recorder.received.size(), 1u);
}

TEST(CurlHTTPSession, EncodesWhatAnAddressMustNotHold) {
    RecordingServer recorder;
    HTTPClient client;
    client.get(recorder.server.address() + "a/../b c?x=1 2&y=%20%zz&z=[\xc3\xa9]");
    EXPECT_THAT(recorder.last(),
                testing::StartsWith("GET /a/../b%20c?x=1%202&y=%20%25zz&z=%5B%C3%A9%5D HTTP"));
}

TEST(CurlHTTPSession, DeliversEveryStatusAndBody) {
    auto &server = kept<LocalServer>([](const LocalServer::Request &request) {
        const int status = std::stoi(request.target.substr(1));
        LocalServer::Answer answer{status, status == 204 ? "" : "{\"a\":1}", {}};
        if (status == 302)
            answer.headers.emplace("Location", "/200");
        answer.headers.emplace("Set-Cookie", "a=b");
        return answer;
    });
    HTTPClient client;
    for (const int status : {200, 201, 204, 302, 401, 404, 500}) {
        const HTTPOutcome outcome = client.get(server.address() + std::to_string(status));
        EXPECT_FALSE(outcome.error) << outcome.error->description();
        EXPECT_EQ(outcome.statusCode, status);
        EXPECT_EQ(outcome.body.bytes(), status == 204 ? "" : "{\"a\":1}");
    }
    EXPECT_EQ(server.requests().size(), 7u) << "a redirect was followed";
    EXPECT_EQ(server.connections(), 1u);
    for (const LocalServer::Request &request : server.requests())
        EXPECT_EQ(request.headers.count("Cookie"), 0u);
}

TEST(CurlHTTPSession, TakesRequestsFromManyThreadsAndRunsEachCompletionOnce) {
    constexpr int requests = 60;
    auto &server = kept<LocalServer>();
    std::atomic<int> completions{0};
    HTTPClient client;
    std::promise<void> idle;
    client.activity->onIdle([&] { idle.set_value(); });
    client.activity->begin();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 3; ++thread) {
        threads.emplace_back([&] {
            for (int i = 0; i < requests / 3; ++i) {
                client.session->send({server.address(), "POST", {}, Data("x")},
                                     [&](const HTTPOutcome &outcome) {
                                         EXPECT_EQ(outcome.statusCode, 200);
                                         ++completions;
                                     });
            }
        });
    }
    for (std::thread &thread : threads)
        thread.join();
    client.activity->end();
    ASSERT_EQ(idle.get_future().wait_for(std::chrono::seconds(60)), std::future_status::ready);
    EXPECT_EQ(completions, requests);
    EXPECT_EQ(server.requests().size(), static_cast<std::size_t>(requests));
    EXPECT_EQ(server.connections(), 1u) << "more than one exchange at a time";
}

TEST(CurlHTTPSession, UsesTheEnvironmentsProxyOnlyWhenTheHostAllowsIt) {
    RecordingServer proxy;
    RawServer service(answerAlways(httpResponse("204 No Content", "")));
    ASSERT_EQ(::setenv("http_proxy", proxy.server.address().c_str(), 1), 0);
    HTTPClient direct;
    EXPECT_EQ(direct.get(service.address()).statusCode, 204);
    EXPECT_EQ(proxy.server.connections(), 0u);
    CurlOptions options;
    options.allowProxy = true;
    HTTPClient proxied(options);
    EXPECT_EQ(proxied.get(service.address()).statusCode, 200);
    EXPECT_THAT(proxy.last(), testing::StartsWith("GET " + service.address() + " HTTP/1.1"));
    ::unsetenv("http_proxy");
}

TEST(CurlHTTPSession, SurvivesACompletionThatThrows) {
    auto &server = kept<LocalServer>();
    HTTPClient client;
    std::promise<void> firstEnded;
    client.activity->onIdle([&, told = false]() mutable {
        if (!std::exchange(told, true))
            firstEnded.set_value();
    });
    client.session->send({server.address(), std::nullopt, {}, {}},
                         [](const HTTPOutcome &) { throw std::runtime_error("host's fault"); });
    ASSERT_EQ(firstEnded.get_future().wait_for(std::chrono::seconds(30)),
              std::future_status::ready);
    EXPECT_EQ(client.log->countContaining("host's fault"), 1u);
    EXPECT_EQ(client.get(server.address()).statusCode, 200);
}

} // namespace
} // namespace vmr::test
