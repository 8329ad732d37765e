#include "support/Gzip.h"
#include "tools/RawPost.h"
#include "tools/Velmora.h"

#include <gmock/gmock.h>
#include <sys/resource.h>

#include <list>

namespace vmr::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

std::string times(std::size_t count, const std::string &text) {
    std::string all;
    all.reserve(count * text.size());
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

/// What a request may cost the service, and what refuses it.
class IngestBoundsTests : public testing::Test {
protected:
    explicit IngestBoundsTests(const std::string &address = "127.0.0.1:0")
        : service_(velmora(
              {"ingest", "--no-page", "--listen", address, "--api-key", "k1", "--secret", "s3"})) {
        const std::string listening = service_.read()["listening"];
        port_ = std::stoi(listening.substr(listening.rfind(':') + 1));
    }
    json reportOf(const RawPost &post) {
        const RawConnection connection(port_);
        connection.send(post.bytes());
        json line = service_.read(); // long ones before the answer
        answer_ = connection.receive();
        return line;
    }
    json reportOf(const std::string &text) {
        RawPost post = RawPost::consents({});
        post.body = gzip(text);
        return reportOf(post);
    }
    std::string refusalOf(const std::string &bytes) {
        const RawConnection connection(port_);
        connection.send("POST /1.0/consents HTTP/1.1\r\nHost: localhost\r\n" + bytes);
        connection.receive();
        const json line = service_.read();
        EXPECT_EQ(line["sound"], false);
        return line["problems"].dump();
    }
    /// Each refusal was one line, and the next request is as good as ever.
    void expectServesOn() { EXPECT_EQ(reportOf(RawPost::consents(consentsBody()))["sound"], true); }

    Program service_;
    std::string answer_;
    int port_ = 0;
};

TEST_F(IngestBoundsTests, RefusesRequestsWithoutEnd) {
    // Few and long: newer versions of the library refuse many by themselves.
    EXPECT_THAT(refusalOf(times(40, "a: " + std::string(7000, 'b') + "\r\n")),
                HasSubstr("headers are longer than 256 KiB"));
    const std::string mebibyte(1U << 20, 'x');
    EXPECT_THAT(refusalOf("Transfer-Encoding: chunked\r\n\r\n" +
                          times(40, "100000\r\n" + mebibyte + "\r\n")),
                HasSubstr("body is longer than 32 MiB"));
    EXPECT_THAT(refusalOf("Content-Length: 41943040\r\n\r\n" + times(40, mebibyte)),
                HasSubstr("body is longer than 32 MiB"));
    RawPost withBody = RawPost::consents(consentsBody());
    withBody.method = "GET";
    EXPECT_THAT(reportOf(withBody)["problems"].dump(), HasSubstr("broke off"));
    expectServesOn();
}

TEST_F(IngestBoundsTests, BoundsWhatABodyCosts) {
    EXPECT_THAT(std::string(reportOf("[" + times(300'000, "{},") + "1]")["json"]),
                HasSubstr("more than 200000 values"));
    std::string unknown = "{\"batch\":[" + times(2000, "{\"x\":1},") + "1]";
    for (int i = 0; i < 600; ++i)
        unknown += ",\"" + std::to_string(i) + "\":1";
    const json many = reportOf(unknown + "}");
    std::size_t told = many["problems"].size();
    for (const json &item : many["itemProblems"])
        told += item.size();
    EXPECT_EQ(told, 1001U);
    EXPECT_THAT(std::string(many["problems"].back()), StartsWith("and "));

    json body = consentsBody();
    body["batch"] = {consentItem(body["uuid"], std::string(3U << 20, 'C'))};
    body[std::string(1U << 20, 'k')] = 1;
    const json report = reportOf(body.dump());
    EXPECT_EQ(report["cut"], true);
    EXPECT_LT(report.dump().size(), std::size_t{2} << 20);
    EXPECT_THAT(std::string(report["items"][0]["consentString"]), StartsWith("CCC"));
    EXPECT_THAT(report["itemProblems"], SizeIs(1));
    expectServesOn();
}

double secondsOfChildren() {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return static_cast<double>(usage.ru_utime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec) / 1e6;
}

TEST(IngestCostTests, GrowsAsTheLengthDoes) {
    const auto costOf = [](std::size_t items) {
        const double before = secondsOfChildren();
        Program service = velmora({"ingest", "--no-page"});
        const std::string address = service.read()["listening"];
        RawPost post = RawPost::consents({});
        post.body = gzip("{\"batch\":[" + times(items, "{},") + "{}]}");
        const RawConnection connection(std::stoi(address.substr(address.rfind(':') + 1)));
        connection.send(post.bytes());
        EXPECT_EQ(service.read()["json"], "sound");
        service.write("quit");
        EXPECT_EQ(service.wait(), 0);
        return secondsOfChildren() - before;
    };
    EXPECT_LT(costOf(160'000), 20 * costOf(20'000)); // 8 times the length
}

TEST_F(IngestBoundsTests, LetsNobodyShutOthersOut) {
    std::list<RawConnection> silent;
    for (int i = 0; i < 100; ++i)
        silent.emplace_back(port_).send("POST /1.0");
    RawPost::consents(consentsBody()).send(port_);
    int refused = 0;
    json line = service_.read();
    for (; line["sound"] == false; line = service_.read()) {
        EXPECT_THAT(line["problems"].dump(), HasSubstr("64 connections are open"));
        ++refused;
    }
    EXPECT_EQ(line["answer"], 200);
    EXPECT_EQ(refused, 100 + 1 - 64);
}

TEST_F(IngestBoundsTests, BoundsTheBodiesOfAllRequests) {
    std::list<RawConnection> unfinished;
    const std::string most(31U << 20, 'x');
    for (int i = 0; i < 5; ++i)
        unfinished.emplace_back(port_).send("POST /1.0/consents HTTP/1.1\r\nHost: localhost\r\n"
                                            "Content-Length: 33554432\r\n\r\n" +
                                            most);
    const json line = service_.read();
    EXPECT_EQ(line["answer"], 503);
    EXPECT_THAT(line["problems"].dump(), HasSubstr("are longer than 128 MiB"));
    unfinished.clear();
    for (int i = 0; i < 4; ++i)
        EXPECT_THAT(service_.read()["problems"].dump(), HasSubstr("broke off"));
    expectServesOn();
}

TEST_F(IngestBoundsTests, RefusesWebPages) {
    RawPost page = RawPost::consents(consentsBody());
    page.setHeader("Origin", "http://localhost");
    EXPECT_THAT(reportOf(page)["problems"].dump(), HasSubstr("so a web page sent the request"));
    EXPECT_THAT(answer_, StartsWith("HTTP/1.1 403"));
    // An image in the page.
    page = RawPost{"GET", "/1.0/consents", {{"Host", "localhost"}}, {}};
    page.setHeader("Sec-Fetch-Site", "cross-site");
    EXPECT_THAT(reportOf(page)["problems"].dump(), HasSubstr("so a web page sent the request"));
    EXPECT_THAT(answer_, StartsWith("HTTP/1.1 403"));
    for (const char *host : {"evil.example", "127.0.0.1.evil.example:80", "10.0.0.1", "::1", ""}) {
        RawPost rebound = RawPost::consents(consentsBody());
        rebound.setHeader("Host", host);
        const json report = reportOf(rebound);
        EXPECT_THAT(report["problems"].dump(), HasSubstr("a web page may have sent")) << host;
        EXPECT_EQ(report["answer"], 403);
    }
    expectServesOn();
}

class IngestForAllTests : public IngestBoundsTests {
protected:
    IngestForAllTests() : IngestBoundsTests("0.0.0.0:0") {}
};

TEST_F(IngestForAllTests, TakeRequestsByAnyName) {
    RawPost post = RawPost::consents(consentsBody());
    post.setHeader("Host", "ingest.example");
    EXPECT_EQ(reportOf(post)["sound"], true);
}

} // namespace
} // namespace vmr::test
