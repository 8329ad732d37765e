#include "tools/RawPost.h"
#include "tools/Velmora.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

int portIn(const std::string &address) {
    return std::stoi(address.substr(address.rfind(':') + 1));
}

std::string contentOf(const std::string &path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

/// What the service does beside writing lines, as far as it takes no browser to see it.
class IngestPageTests : public testing::Test {
protected:
    static Program serve(std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"ingest", "--api-key", "k1", "--secret", "s3-is-secret"});
        return velmora(more);
    }
    /// With the secret of `serve`.
    static RawPost right() {
        RawPost post = RawPost::consents(consentsBody());
        post.setHeader("Authorization", "Token token=" + sha1("s3-is-secret/consents/k1/"));
        return post;
    }
    static RawPost get(const std::string &path, const std::string &host = "localhost") {
        return {"GET", path, {{"Host", host}}, {}};
    }
    static json jsonOf(const std::string &answer) {
        return json::parse(answer.substr(answer.find("\r\n\r\n") + 4));
    }

    TemporaryFolder folder_;
};

TEST_F(IngestPageTests, AnswersWithFaults) {
    Program service = serve({"--no-page"});
    const json line = service.read();
    EXPECT_FALSE(line.contains("page"));
    const int port = portIn(line["listening"]);
    const auto answerOf = [&](const std::string &fault) {
        EXPECT_EQ(ask(service, "fault " + fault)["command"], "fault");
        std::string answer = right().send(port);
        service.read();
        return answer;
    };
    EXPECT_THAT(answerOf("no-answer"), IsEmpty());
    EXPECT_THAT(answerOf("cut-off"),
                AllOf(HasSubstr("Content-Length: 1000\r\n"), EndsWith("{\"accepted\":")));
    EXPECT_THAT(answerOf("redirect"), AllOf(StartsWith("HTTP/1.1 302"), HasSubstr("Location: /")));
    EXPECT_THAT(answerOf("not-json"), AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("<!doctype")));
    EXPECT_GT(answerOf("large").size(), 2'000'000U);
    EXPECT_THAT(answerOf("204"), StartsWith("HTTP/1.1 204"));
    EXPECT_THAT(answerOf("401 next"), StartsWith("HTTP/1.1 401"));
    EXPECT_THAT(right().send(port), StartsWith("HTTP/1.1 204")); // the one from now on
    EXPECT_EQ(service.read()["answer"], 204);
    for (const char *wrong : {"fault", "fault 999", "fault 503 soon", "clear all"})
        EXPECT_TRUE(ask(service, wrong).contains("error")) << wrong;
}

TEST_F(IngestPageTests, ServesThePageToThisMachineAndItsOwnPageAlone) {
    Program service = serve();
    const json line = service.read();
    const int page = portIn(line["page"]);
    const std::string answer = get("/").send(page);
    EXPECT_THAT(answer, AllOf(StartsWith("HTTP/1.1 200"), HasSubstr("<title>VelmoraKit ingest"),
                              HasSubstr("Content-Security-Policy: default-src 'none'; script-src "
                                        "'self'; style-src 'self'; connect-src 'self';"),
                              Not(HasSubstr("unsafe")), Not(HasSubstr("Access-Control"))));
    for (const char *host : {"127.0.0.1:1", "127.9.9.9", "[::1]:80", "localhost:8080"})
        EXPECT_THAT(get("/", host).send(page), StartsWith("HTTP/1.1 200")) << host;
    for (const char *host : {"evil.example", "evil.example:80", "127.0.0.1.evil.example",
                             "10.0.0.1", "localhost.evil.example:1", "[::2]", "::1"})
        for (const char *path : {"/", "/stream", "/requests/1", "/js/main.js"})
            EXPECT_THAT(get(path, host).send(page),
                        AllOf(StartsWith("HTTP/1.1 403"), HasSubstr("this machine alone")))
                << host << path;

    for (const std::vector<std::string> &token :
         {std::vector<std::string>(), {"X-Velmora-Token", "0123456789abcdef0123456789abcdef"}}) {
        RawPost post{"POST", "/commands", {{"Host", "localhost"}}, "fault 503"};
        if (!token.empty())
            post.headers.emplace_back(token[0], token[1]);
        EXPECT_THAT(post.send(page), AllOf(StartsWith("HTTP/1.1 403"), HasSubstr("token")));
    }
    EXPECT_THAT(right().send(portIn(line["listening"])), StartsWith("HTTP/1.1 200"));
}

TEST_F(IngestPageTests, ShowsAnotherWordForTheSecret) {
    Program service = serve();
    const json line = service.read();
    RawPost swapped = right();
    swapped.setHeader("X-Api-Key", "s3-is-secret");
    swapped.setHeader("X-s3-is-secret", "s3-is-secret");
    swapped.send(portIn(line["listening"]));
    const int page = portIn(line["page"]);
    for (const char *path : {"/requests/1", "/requests/1/items/0", "/devices"})
        EXPECT_THAT(get(path).send(page),
                    AllOf(StartsWith("HTTP/1.1 200"), Not(HasSubstr("s3-is-secret"))))
            << path;
    EXPECT_THAT(std::string(jsonOf(get("/requests/1").send(page))["token"]["cause"]),
                HasSubstr("swapped"));
}

TEST_F(IngestPageTests, EndsWhenWhatIsExpectedHasCome) {
    Program service = serve({"--expect", "2", "--timeout", "60"});
    const int port = portIn(service.read()["listening"]);
    for (const char *consent : {"CO1", "CO1", "CO2"}) { // one comes again
        json body = consentsBody();
        body["batch"] = {consentItem(body["uuid"], consent)};
        RawPost post = right();
        post.body = RawPost::consents(body).body;
        EXPECT_THAT(post.send(port), StartsWith("HTTP/1.1 200"));
        EXPECT_EQ(service.read()["sound"], true);
    }
    EXPECT_EQ(service.read(), json::parse(R"({"expected":2,"came":2,"reasons":[]})"));
    EXPECT_EQ(service.wait(), 0);

    Program late = serve({"--expect", "1", "--timeout", "0.5"});
    RawPost::consents(consentsBody()).send(portIn(late.read()["listening"]));
    late.read();
    const json result = late.read();
    EXPECT_EQ(result["came"], 0);
    EXPECT_THAT(std::string(result["reasons"][0]), StartsWith("request 1: header Authorization"));
    EXPECT_EQ(late.wait(), 1);
}

TEST_F(IngestPageTests, ShowsARecordingAsItWas) {
    const std::string path = folder_.file("recording");
    const std::string saved = folder_.file("saved");
    json recorded;
    {
        Program service = serve({"--record", path});
        const json line = service.read();
        ask(service, "fault 503");
        RawPost post = right();
        post.setHeader("X-Odd", "\xff\xfe");
        post.send(portIn(line["listening"]));
        recorded = jsonOf(get("/requests/1").send(portIn(line["page"])));
        const std::string file = get("/requests/1/recording").send(portIn(line["page"]));
        std::ofstream(saved) << file.substr(file.find("\r\n\r\n") + 4);
        ask(service, "fault 200");
        post.body = "no gzip";
        post.send(portIn(line["listening"]));
    }
    EXPECT_THAT(contentOf(path), Not(HasSubstr("s3-is-secret")));
    Program replay = velmora({"ingest", "--replay", path});
    const json line = replay.read();
    EXPECT_EQ(line["requests"], 2);
    const int page = portIn(line["page"]);
    json shown = jsonOf(get("/requests/1").send(page));
    for (json *each : {&recorded, &shown})
        each->erase("token"); // its secret is not recorded
    EXPECT_EQ(shown, recorded);
    EXPECT_EQ(shown["answer"], 503);
    EXPECT_TRUE(contentOf(path).starts_with(contentOf(saved))); // the first request alone

    // Cut off, it is shown as far as it goes; anything else is refused in a line.
    const std::string whole = contentOf(path);
    const std::string cut = folder_.file("cut");
    std::ofstream(cut) << whole.substr(0, whole.size() - 20);
    Program rest = velmora({"ingest", "--replay", cut});
    EXPECT_EQ(rest.read()["requests"], 1);
    EXPECT_THAT(rest.errors(), HasSubstr("is cut off in line 3"));
    const auto refusalOf = [&](const std::string &content) {
        const std::string other = folder_.file("other");
        std::ofstream(other) << content;
        Program refusing = velmora({"ingest", "--replay", other});
        EXPECT_EQ(refusing.wait(), 1);
        return refusing.errors();
    };
    EXPECT_THAT(refusalOf("{\"velmora-ingest-recording\":2}\n"), HasSubstr("version 2"));
    EXPECT_THAT(refusalOf("something else"), HasSubstr("is not a recording"));
    EXPECT_THAT(refusalOf(""), HasSubstr("is not a recording"));
    const std::size_t second = whole.find('\n') + 1;
    EXPECT_THAT(refusalOf(whole.substr(0, second) + "{}\n" + whole.substr(second)),
                HasSubstr("damaged in line 2"));
}

TEST_F(IngestPageTests, RefusesWhatItCannotDoInALine) {
    Program service = serve();
    const std::string taken = "127.0.0.1:" + std::to_string(portIn(service.read()["page"]));
    const std::vector<std::string> cases[] = {
        // the last word is what it says
        {"--page", "0.0.0.0:0", "not a loopback address"},
        {"--page", "192.0.2.1:0", "not a loopback address"},
        {"--page", "8080", "--page: \"8080\" is not ADDR:PORT"},
        {"--page", taken, "Address already in use; choose another with --page"},
        {"--record", folder_.file("missing/recording"), "cannot make the recording"},
        {"--record", "/proc/version", "File exists"},
        {"--replay", folder_.file("missing"), "cannot read the recording"},
        {"--replay", "x", "--record", "y", "excludes"},
        {"--timeout", "5", "--timeout requires --expect"},
        {"--expect", "0", "--expect"},
    };
    for (std::vector<std::string> words : cases) {
        const std::string says = words.back();
        words.back() = "ingest";
        std::rotate(words.begin(), words.end() - 1, words.end());
        Program refusing = velmora(words);
        EXPECT_NE(refusing.wait(), 0);
        EXPECT_THAT(refusing.errors(), HasSubstr(says));
    }
}

} // namespace
} // namespace vmr::test
