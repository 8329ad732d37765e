#include "support/Certificates.h"
#include "support/RawServer.h"
#include "tools/Velmora.h"

#include <gmock/gmock.h>

#include <csignal>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

/// An ingest service and, against it, host applications, as a person would start them.
class RunTest : public testing::Test {
protected:
    static std::vector<std::string> ingest(std::vector<std::string> options = {}) {
        options.insert(options.begin(), {"ingest", "--api-key", "key", "--secret", "secret"});
        return options;
    }
    static std::string address(Program &service) { return service.read()["listening"]; }
    std::vector<std::string> host(const std::string &address,
                                  std::vector<std::string> options = {}) const {
        options.insert(options.begin(),
                       {"run", "--api-key", "key", "--secret", "secret", "--store",
                        folder_.file("store.db"), "--bundle-id", "com.example.test",
                        "--app-version", "1.2", "--ingest", address});
        return options;
    }
    static void expectSettled(Program &program) {
        EXPECT_EQ(json({{"command", "settle"}, {"settled", true}}), ask(program, "settle 25"))
            << program.errors();
    }
    static std::vector<json> consentStrings(const json &events) {
        std::vector<json> strings;
        for (const json &event : events)
            strings.push_back(event["consentString"]);
        return strings;
    }
    /// No request has come beside those that were read.
    static void expectNothingMore(Program &service) {
        service.write("quit");
        EXPECT_EQ(0, service.wait());
        EXPECT_EQ("", service.rest());
    }

    TemporaryFolder folder_;
};

TEST_F(RunTest, ConsentChangesAreCollectedAndPostedOnce) {
    Program service = velmora(ingest());
    Program program = velmora(host(address(service)));
    // In one piece: a second between them would make two posts of it.
    program.write("set IABTCF_TCString CPc first\nset IABTCF_TCString CPc second\nstatus");
    EXPECT_EQ(json({{"command", "set"}}), program.read());
    EXPECT_EQ(json({{"command", "set"}}), program.read());
    const json before = program.read();
    ASSERT_EQ(4U, before["storedConsentEvents"].size()) << before;
    EXPECT_TRUE(before["lastSendConsentDatasDate"].is_null());
    expectSettled(program);

    const json request = service.read();
    EXPECT_EQ("POST", request["method"]);
    EXPECT_EQ("/1.0/consents", request["path"]);
    EXPECT_EQ("right", request["signature"]);
    EXPECT_TRUE(request["sound"]) << request;
    // The two of a first start without strings, then the changes, in order.
    EXPECT_EQ((std::vector<json>{nullptr, nullptr, "CPc first", "CPc second"}),
              consentStrings(request["items"]));

    const json after = ask(program, "status");
    EXPECT_TRUE(after["storedConsentEvents"].empty());
    EXPECT_TRUE(after["lastSendConsentDatasDate"].is_number());
    EXPECT_EQ("CPc second", after["lastTCFv2String"]);
    EXPECT_EQ(before["vmrId"], after["vmrId"]);
    expectNothingMore(service);
}

TEST_F(RunTest, EventsSurviveAFailingServiceAndARestartOfTheHost) {
    Program service = velmora(ingest({"--answer", "503"}));
    const std::string url = address(service);
    std::string identifier;
    {
        Program program = velmora(host(url));
        ask(program, "set IABTCF_TCString CPc");
        expectSettled(program);
        EXPECT_EQ(503, service.read()["answer"]);
        const json status = ask(program, "status");
        EXPECT_EQ(3U, status["storedConsentEvents"].size());
        EXPECT_TRUE(status["lastSendConsentDatasDate"].is_null());
        EXPECT_TRUE(status["lastSendConsentDatasAttemptDate"].is_number());
        identifier = status["vmrId"];
        program.signal(SIGKILL);
        EXPECT_EQ(128 + SIGKILL, program.wait());
    }
    ask(service, "answer 200");
    Program program = velmora(host(url));
    const json status = ask(program, "status");
    // The restart adds one for the side that has not known the string yet.
    EXPECT_EQ((std::vector<json>{nullptr, nullptr, "CPc", "CPc"}),
              consentStrings(status["storedConsentEvents"]));
    EXPECT_EQ(0, status["nbLaunchesSinceBeginning"]);
    EXPECT_EQ(json({{"command", "foreground"}}), ask(program, "foreground"));
    expectSettled(program);
    const json request = service.read();
    EXPECT_TRUE(request["sound"]) << request;
    EXPECT_EQ("CPc", request["items"].back()["consentString"]);
    const json after = ask(program, "status");
    EXPECT_TRUE(after["storedConsentEvents"].empty());
    EXPECT_EQ(1, after["nbLaunchesSinceBeginning"]);
}

TEST_F(RunTest, PostsOverTLSOnlyToAServiceThatItCanTrust) {
    CertificateAuthority authority;
    const CertificateAuthority stranger;
    const auto certificate = authority.issue("IP:127.0.0.1");
    Program service = velmora(
        ingest({"--tls-cert", certificate.certificateFile, "--tls-key", certificate.keyFile}));
    const std::string url = address(service);
    ASSERT_THAT(url, StartsWith("https://"));
    {
        Program program = velmora(host(url, {"--ca-file", stranger.file()}));
        ask(program, "set IABTCF_TCString CPc");
        expectSettled(program);
        const json status = ask(program, "status");
        EXPECT_EQ(3U, status["storedConsentEvents"].size());
        EXPECT_TRUE(status["lastSendConsentDatasDate"].is_null());
        EXPECT_THAT(program.errors(), HasSubstr("VelmoraKit: requests cannot be sent: SSL cert"));
    }
    Program program = velmora(host(url, {"--ca-file", authority.file()}));
    ask(program, "foreground");
    expectSettled(program);
    EXPECT_TRUE(ask(program, "status")["storedConsentEvents"].empty()) << program.errors();
    const json request = service.read();
    EXPECT_TRUE(request["sound"]) << request;
    EXPECT_EQ(4U, request["items"].size());
    expectNothingMore(service);
}

TEST_F(RunTest, AnotherProcessCanWriteTheConsentString) {
    Program service = velmora(ingest());
    Program program = velmora(host(address(service)));
    ask(program, "status"); // a string that is there before the start is not posted by it
    Program tool =
        velmora({"prefs", "set", "--store", folder_.file("store.db"), "IABTCF_TCString", "CPc"});
    EXPECT_EQ(0, tool.wait()) << tool.errors();
    const json request = service.read(); // while the host only waits for commands
    EXPECT_EQ("CPc", request["items"].back()["consentString"]) << program.errors();
}

TEST_F(RunTest, AChangeOnAThreadWithoutLoopIsStoredButNotPosted) {
    Program service = velmora(ingest());
    Program program = velmora(host(address(service)));
    EXPECT_EQ(json({{"command", "set-on-thread"}}),
              ask(program, "set-on-thread IABTCF_TCString CPc"));
    expectSettled(program);
    EXPECT_EQ(3U, ask(program, "status")["storedConsentEvents"].size());
    expectNothingMore(service);
}

TEST_F(RunTest, StartCanBeLeftToTheHost) {
    Program program = velmora(host("http://127.0.0.1:1/", {"--no-start"}));
    const json before = ask(program, "status");
    EXPECT_TRUE(before["vmrId"].is_null());
    ask(program, "set IABTCF_TCString CPc");
    EXPECT_EQ(json({{"command", "start"}}), ask(program, "start"));
    const json after = ask(program, "status");
    EXPECT_TRUE(after["vmrId"].is_string());
    EXPECT_EQ((std::vector<json>{"CPc", "CPc"}), consentStrings(after["storedConsentEvents"]));
}

TEST_F(RunTest, EndsAtOnceWhateverIsUnderWay) {
    Program service = velmora(ingest({"--delay", "50"}));
    const std::string url = address(service);
    for (const std::string how : {"quit", "end of input", "Ctrl-C"}) {
        Program program = velmora(host(url));
        ask(program, "set IABTCF_TCString CPc");
        ask(program, "foreground");
        service.read(); // the request is there, its answer is not
        if (how == "quit")
            EXPECT_EQ(json({{"command", "quit"}}), ask(program, "quit"));
        else if (how == "Ctrl-C")
            program.signal(SIGINT);
        else
            program.closeInput();
        EXPECT_EQ(how == "Ctrl-C" ? 128 + SIGINT : 0, program.wait());
        EXPECT_EQ(how == "Ctrl-C", program.errors().find("interrupted") != std::string::npos);
    }
}

TEST_F(RunTest, AnswersThatNoServiceShouldGiveKeepTheEvents) {
    const std::string cut("\x1f\x8b\x08\0\0\0\0\0\0\x03\xab", 11);
    const std::pair<std::string, const char *> cases[] = {
        {httpResponse("200 OK", "{\"a\":\"" + std::string(2 << 20, 'x') + "\"}"),
         "longer than 1048576 bytes"},
        {httpResponse("200 OK", cut, "Content-Encoding: gzip\r\n"), "damaged or ends too early"},
        {httpResponse("200 OK", "7"), "JSON text did not start with array or object"},
        {httpResponse("302 Found", "", "Location: http://127.0.0.1:1/\r\n"), "status code 302"},
        {httpResponse("401 Unauthorized", "{}"),
         "] [VMRLocusKit] Warning! Failed to connect to server - Incorrect key"},
        {"", "The network connection was lost."},
        {"HTTP/1.1 200 OK\r\n", "the response ended within its headers"},
        {"HTTP/1.1 200 OK\r\nX: " + std::string(300'000, 'x') + "\r\n\r\n",
         "resource exceeds maximum size"},
    };
    std::size_t kept = 0;
    for (const auto &[answer, says] : cases) {
        RawServer server([&bytes = answer](RawServer::Connection &connection) {
            connection.readRequest();
            connection.write(bytes);
        });
        Program program = velmora(host(server.address(), {"--info", "VMRLogsEnabled=true"}));
        ask(program, "foreground");
        expectSettled(program);
        kept += 2; // of each start
        EXPECT_EQ(kept, ask(program, "status")["storedConsentEvents"].size()) << says;
        EXPECT_THAT(program.errors(), HasSubstr(says));
        EXPECT_EQ(1U, server.connections());
        ask(program, "quit");
        EXPECT_EQ(0, program.wait());
    }
}

} // namespace
} // namespace vmr::test
