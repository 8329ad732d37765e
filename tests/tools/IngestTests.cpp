#include "support/Gzip.h"
#include "tools/RawPost.h"
#include "tools/Velmora.h"

#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <optional>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

bool hasIPv6() {
    sockaddr_in6 place{};
    place.sin6_family = AF_INET6;
    place.sin6_addr = in6addr_loopback;
    const int probe = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool has = bind(probe, reinterpret_cast<sockaddr *>(&place), sizeof place) == 0;
    close(probe);
    return has;
}

class IngestTests : public testing::Test {
protected:
    IngestTests() : IngestTests({"ingest", "--api-key", "k1", "--secret", "s3"}) {}
    explicit IngestTests(const std::vector<std::string> &arguments) : service_(velmora(arguments)) {
        const std::string address = service_.read()["listening"];
        EXPECT_THAT(address, StartsWith("http://127.0.0.1:"));
        port_ = std::stoi(address.substr(address.rfind(':') + 1));
    }

    /// Sends it and returns what the service writes about it.
    json report(const RawPost &post) {
        answer_ = post.send(port_);
        return service_.read();
    }

    /// What the service finds in each item of a batch.
    json problemsOf(const json &items, json body = consentsBody()) {
        body["batch"] = items;
        return report(body.contains("vmrId") ? RawPost::errors(body)
                                             : RawPost::consents(body))["itemProblems"];
    }

    Program service_;
    std::string answer_;
    int port_ = 0;
};

class IngestWithoutCredentialsTests : public IngestTests {
protected:
    IngestWithoutCredentialsTests() : IngestTests({"ingest"}) {}
};

/// The sentences in one list.
std::string problems(const json &report) {
    return report["problems"].dump();
}

TEST_F(IngestTests, FindsNothingWrongWithRightRequests) {
    json report = this->report(RawPost::consents(consentsBody()));
    EXPECT_EQ(report["sound"], true) << report;
    EXPECT_EQ(report["signature"], "right");
    EXPECT_EQ(report["items"], consentsBody()["batch"]);
    EXPECT_EQ(report["itemProblems"], json::parse("[[]]"));
    json envelope = consentsBody();
    envelope.erase("batch");
    EXPECT_EQ(report["envelope"], envelope);
    EXPECT_THAT(answer_, StartsWith("HTTP/1.1 200"));

    report = this->report(RawPost::errors(errorsBody()));
    EXPECT_EQ(report["sound"], true) << report;

    // What a device may not have is left out.
    json body = consentsBody();
    for (const char *key : {"uuidV", "bundleId", "appVersion"})
        body.erase(key);
    RawPost post = RawPost::consents(body);
    post.setHeader("X-Bundle-Identifier", "(null)");
    report = this->report(post);
    EXPECT_EQ(report["sound"], true) << report;
}

TEST_F(IngestTests, ChecksMethodAddressAndHeadersAndKeepsTheSecret) {
    RawPost wrong = RawPost::consents(consentsBody());
    wrong.method = "PUT";
    wrong.path = "/1.0/devices_errors";
    wrong.headers.emplace_back("Accept", "application/json");
    const json report = this->report(wrong);
    for (const char *says :
         {"method is PUT", "address is neither", "header Accept is there 2 times"})
        EXPECT_THAT(problems(report), HasSubstr(says));

    struct Case {
        const char *header;
        std::optional<std::string> value; // nothing: it is missing
        const char *says;
    };
    const std::string token = "Token token=";
    const Case cases[] = {
        {"Accept", std::nullopt, "header Accept is missing"},
        {"Accept", "*/*", "header Accept is \\\"*/*\\\""},
        {"Content-Encoding", std::nullopt, "header Content-Encoding is missing"},
        {"X-Bundle-Identifier", std::nullopt, "header X-Bundle-Identifier is missing"},
        {"Cookie", "a=b", "header Cookie does not belong"},
        {"Authorization", token + sha1("other/consents/k1/"), "wrong token"},
        {"Authorization", token + sha1("s3/1.0/consents/k1/"), "wrong token"},
        {"Authorization", token + "X", "40 lower-case"},
        {"Authorization", std::nullopt, "Authorization is missing"},
        {"X-Api-Key", "k2", "not the expected key"},
        {"X-Api-Key", std::nullopt, "X-Api-Key is missing"},
    };
    for (const Case &each : cases) {
        RawPost post = RawPost::consents(consentsBody());
        post.removeHeader(each.header);
        if (each.value)
            post.setHeader(each.header, *each.value);
        const json found = this->report(post);
        EXPECT_THAT(found.dump(), AllOf(HasSubstr(each.says), Not(HasSubstr("s3"))));
        EXPECT_EQ(found["sound"], false) << each.says;
    }
}

TEST_F(IngestWithoutCredentialsTests, KnowsOnlyTheSignatureOfAbsentCredentials) {
    RawPost post = RawPost::consents(consentsBody());
    json report = this->report(post);
    EXPECT_THAT(std::string(report["signature"]), StartsWith("not checked"));
    EXPECT_EQ(report["sound"], true);

    post.removeHeader("X-Api-Key");
    post.setHeader("Authorization", "Token token=" + sha1("(null)/consents/(null)/"));
    report = this->report(post);
    EXPECT_EQ(report["signature"], "right");
}

TEST_F(IngestTests, ChecksGzipAndJSON) {
    const auto reportOf = [&](const std::string &body) {
        RawPost post = RawPost::consents(consentsBody());
        post.body = body;
        return report(post);
    };
    const std::string good = RawPost::consents(consentsBody()).body;
    EXPECT_EQ(reportOf(good.substr(0, good.size() - 1))["gzip"], "the gzip data is cut off");
    EXPECT_EQ(reportOf(good + "x")["gzip"], "1 bytes follow the gzip data");
    EXPECT_EQ(reportOf(consentsBody().dump())["gzip"], "the body is not gzip");
    EXPECT_EQ(reportOf("")["gzip"], "there is no body");
    std::string damaged = good;
    damaged[damaged.size() - 6] = static_cast<char>(~damaged[damaged.size() - 6]);
    EXPECT_EQ(reportOf(damaged)["gzip"], "the gzip data is damaged");
    EXPECT_THAT(problems(reportOf(gzip(consentsBody().dump(), 6))), HasSubstr("best level"));

    const auto jsonOf = [&](const std::string &text) {
        return std::string(reportOf(gzip(text))["json"]);
    };
    EXPECT_THAT(jsonOf("{\"batch\":"), StartsWith("the body is not JSON"));
    EXPECT_THAT(jsonOf("{\"a\":\"\xff\"}"), StartsWith("the body is not JSON"));
    EXPECT_EQ(jsonOf("12"), "the JSON is a number, not an object");
    EXPECT_THAT(jsonOf(std::string(100'000, '[') + std::string(100'000, ']')),
                HasSubstr("more than 512"));
    EXPECT_THAT(problems(reportOf(gzip("[]"))), HasSubstr("a list instead of an object"));
    EXPECT_THAT(problems(reportOf(gzip("{\"os\":\"ios\",\"os\":\"ios\"}"))),
                HasSubstr("\\\"os\\\" appears twice"));
}

TEST_F(IngestTests, TellsOfARequestThatItCannotRead) {
    RawPost post = RawPost::consents(consentsBody());
    post.method = "NO HTTP";
    EXPECT_EQ(report(post)["answer"], 400);
    service_.write("answer 503");
    service_.read();
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(report(RawPost::consents(consentsBody()))["sound"], true);
    EXPECT_THAT(problems(report(post)), HasSubstr("broke off"));
}

TEST_F(IngestTests, ChecksTheEnvelope) {
    struct Case {
        json change; // null removes
        const char *problem;
        bool isErrors = false;
    };
    const Case cases[] = {
        {{{"postDate", nullptr}}, "\\\"postDate\\\" is missing"},
        {{{"postDate", "2026-02-30 15:06:06 +0100"}}, "\\\"postDate\\\" is not a date"},
        {{{"os", "linux"}}, "instead of \\\"ios\\\""},
        {{{"uuid", "1234"}}, "\\\"uuid\\\" is not a UUID"},
        {{{"uuid", "6f9619ff-8b86-d011-b42d-00cf4fc964ff"}}, "not a UUID in upper case"},
        {{{"sdkVersion", "1.0"}}, "six characters and \\\"-Debug\\\""},
        {{{"systemVersion", 12}}, "\\\"systemVersion\\\" is a number"},
        {{{"vmrId", "x"}}, "\\\"vmrId\\\" does not belong"},
        {{{"bundleId", "com.example.other"}}, "\\\"bundleId\\\" does not fit"},
        {{{"batch", nullptr}}, "\\\"batch\\\" is missing"},
        {{{"batch", json::array()}}, "\\\"batch\\\" is empty"},
        {{{"vmrId", nullptr}}, "\\\"vmrId\\\" is missing", true},
        {{{"deviceModel", "x86_64"}}, "\\\"deviceModel\\\" does not belong", true},
    };
    for (const Case &each : cases) {
        json body = each.isErrors ? errorsBody() : consentsBody();
        body.merge_patch(each.change);
        const json report =
            this->report(each.isErrors ? RawPost::errors(body) : RawPost::consents(body));
        EXPECT_THAT(problems(report), HasSubstr(each.problem)) << report;
        EXPECT_EQ(report["sound"], false);
    }
}

TEST_F(IngestTests, ComparesALongBundleIdentifierByItsEnd) {
    const std::string whole = std::string(44, 'a') + std::string(256, 'b');
    json body = consentsBody();
    body["bundleId"] = whole.substr(44);
    RawPost post = RawPost::consents(body);
    post.setHeader("X-Bundle-Identifier", whole);
    EXPECT_EQ(report(post)["sound"], true);
    body["bundleId"] = whole;
    post.body = gzip(body.dump());
    EXPECT_THAT(problems(report(post)), HasSubstr("longer than 256"));
}

TEST_F(IngestTests, ChecksEachItem) {
    const std::string zero = consentsBody()["uuid"];
    const json good = consentItem(zero, "CO1");
    const auto changed = [&](const char *key, const json &value) {
        json item = good;
        item[key] = value;
        return item;
    };
    json withoutString = good;
    withoutString.erase("consentString");
    const auto found = problemsOf({good, changed("consentString", 7), changed("localDate", "today"),
                                   changed("eventId", std::string(64, 'A')), withoutString,
                                   changed("extra", 1), "text"});
    ASSERT_EQ(found.size(), 7U);
    EXPECT_THAT(found[0], IsEmpty());
    EXPECT_THAT(found[1], IsEmpty()) << "the SDK posts whatever the host has stored";
    EXPECT_THAT(found[2].dump(), HasSubstr("is not a date"));
    EXPECT_THAT(found[3].dump(), HasSubstr("64 lower-case"));
    EXPECT_THAT(found[4].dump(), HasSubstr("\\\"consentString\\\" is missing"));
    EXPECT_THAT(found[5].dump(), HasSubstr("\\\"extra\\\" does not belong"));
    EXPECT_THAT(found[6].dump(), HasSubstr("instead of an object"));

    const auto errors =
        problemsOf({{{"exception", ""}}, {{"timestamp", 5}}, {{"metadata", "a"}}}, errorsBody());
    EXPECT_THAT(errors[0].dump(), HasSubstr("exception"));
    EXPECT_THAT(errors[1].dump(), HasSubstr("timestamp"));
    EXPECT_THAT(errors[2].dump(), HasSubstr("metadata"));
}

TEST_F(IngestTests, ComparesTheIdentifiersOfABatch) {
    const std::string zero = consentsBody()["uuid"];
    const json none = json::array();

    // One identifier that the service does not know is as good as the advertising identifier.
    EXPECT_EQ(problemsOf({consentItem("hidden", "CO1"), consentItem("hidden", "CO2")}),
              json({none, none}));
    json removed = consentItem(zero, "<null>");
    removed["consentString"] = nullptr;
    json absent = consentItem(zero, "(null)");
    absent["consentString"] = nullptr;
    EXPECT_EQ(problemsOf({consentItem(zero, "CO1"), removed, absent}), json({none, none, none}));
    // The hash ends at a NUL, what is sent does not.
    json cut = consentItem(zero, "CO");
    cut["consentString"] = std::string("CO\0tail", 7);
    cut["eventId"] = sha256(zero + ";CO");
    EXPECT_EQ(problemsOf({cut, consentItem(zero, "CO1")}), json({none, none}));

    EXPECT_THAT(problemsOf({consentItem(zero, "CO1"), consentItem("hidden", "CO2")})[1].dump(),
                HasSubstr("other items' were"));
    EXPECT_THAT(problemsOf({consentItem("h", "CO1"), consentItem("i", "CO1")})[1].dump(),
                HasSubstr("differs from that of an equal item"));
    json copied = consentItem("h", "CO1");
    copied["consentString"] = "CO2";
    EXPECT_THAT(problemsOf({consentItem("h", "CO1"), copied})[1].dump(),
                HasSubstr("that of a different item"));
}

TEST_F(IngestTests, ChangesItsAnswerWhileItRuns) {
    const RawPost post = RawPost::consents(consentsBody());
    EXPECT_EQ(ask(service_, "answer 503"), json({{"command", "answer"}, {"status", 503}}));
    ask(service_, "answer-body {\"wait\": true}");
    EXPECT_EQ(report(post)["answer"], 503);
    EXPECT_THAT(answer_, StartsWith("HTTP/1.1 503"));
    EXPECT_THAT(answer_, HasSubstr("\r\n\r\n{\"wait\": true}"));

    for (const char *line : {"answer", "answer 99", "answer 200x", "delay -1", "delay nan", "x"})
        EXPECT_TRUE(ask(service_, line).contains("error")) << line;

    ask(service_, "answer 200");
    service_.closeInput();
    EXPECT_EQ(report(post)["answer"], 200);
}

TEST_F(IngestTests, EndsWhenToldTo) {
    service_.signal(SIGTERM);
    EXPECT_EQ(service_.wait(), 0);
    if (!hasIPv6())
        return;
    Program other = velmora({"ingest", "--listen", "[::1]:0"});
    EXPECT_THAT(std::string(other.read()["listening"]), StartsWith("http://[::1]:"));
    other.write("quit");
    EXPECT_EQ(other.wait(), 0);
}

TEST_F(IngestTests, RefusesWhatItCannotDo) {
    const std::vector<std::string> cases[] = {
        // the last word is what it says
        {"--listen", "8080", "ADDR:PORT"},
        {"--listen", "127.0.0.1:65536", "ADDR:PORT"},
        {"--listen", "127.0.0.1:" + std::to_string(port_), "Address already in use"},
        {"--answer", "1000", "--answer"},
        {"--tls-cert", "missing.pem", "--tls-key"},
        {"--tls-cert", "missing.pem", "--tls-key", "missing.pem", "missing.pem"},
    };
    for (std::vector<std::string> words : cases) {
        const std::string says = words.back();
        words.back() = "ingest";
        std::rotate(words.begin(), words.end() - 1, words.end());
        Program service = velmora(words);
        EXPECT_NE(service.wait(), 0);
        EXPECT_THAT(service.errors(), HasSubstr(says));
    }
}

} // namespace
} // namespace vmr::test
