#include "support/LocalServer.h"
#include "support/RawServer.h"
#include "tools/Velmora.h"

#include <gtest/gtest.h>

#include <ctime>
#include <sstream>

namespace vmr::test {
namespace {

using nlohmann::json;

std::string httpDate(std::time_t time) {
    std::tm utc{};
    gmtime_r(&time, &utc);
    char text[64] = "";
    std::strftime(text, sizeof text, "%a, %d %b %Y %H:%M:%S GMT", &utc);
    return text;
}

/// How severe what the doctor finds under a name is, when it connects.
std::string severity(const std::string &id, const std::string &address,
                     const CertificateAuthority &authority, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"doctor", "--json", "--connect", "--ingest", address, "--ca-file",
                               authority.file(), "--api-key", "public-key"});
    Program doctor = velmora(more);
    std::istringstream lines(doctor.rest());
    for (std::string line; std::getline(lines, line);)
        if (const json finding = json::parse(line); finding["id"] == id)
            return finding["severity"];
    return "missing: " + lines.str();
}

TEST(DoctorTests, ReadsTheServicesCertificateAndSendsNothing) {
    CertificateAuthority authority;
    const CertificateAuthority stranger;
    struct Case {
        const char *names;
        int from, until;
        const CertificateAuthority &trusted;
        const char *id;
        const char *severity;
    };
    const Case cases[] = {
        {"DNS:localhost", -1, 90, authority, "tls.trust", "ok"},
        {"DNS:localhost", -1, 90, authority, "tls.expiry", "ok"},
        {"DNS:localhost", -1, 5, authority, "tls.expiry", "warning"},
        {"DNS:localhost", -9, -1, authority, "tls.expiry", "error"},
        {"DNS:localhost", 1, 9, authority, "tls.expiry", "error"},
        {"DNS:elsewhere.example", -1, 90, authority, "tls.host", "error"},
        {"DNS:localhost", -1, 90, stranger, "tls.chain", "error"},
        {"DNS:localhost", -1, 90, authority, "tls.protocol", "ok"},
    };
    for (const Case &each : cases) {
        const LocalServer server(authority.issue(each.names, each.from, each.until));
        EXPECT_EQ(severity(each.id, server.address("localhost"), each.trusted), each.severity)
            << each.id << " " << each.names << " until " << each.until;
        for (const LocalServer::Request &request : server.requests()) {
            EXPECT_EQ(request.method, "HEAD");
            EXPECT_EQ(request.headers.count("Authorization"), 0U);
        }
    }
    const LocalServer server(authority.issue("DNS:localhost"));
    EXPECT_EQ(severity("tls.pin", server.address("localhost"), authority,
                       {"--pinned-key", authority.issue("DNS:localhost").publicKeyPin}),
              "error");

    const LocalServer plain([](const LocalServer::Request &request) {
        LocalServer::Answer answer;
        const bool isLate = request.target == "/late/";
        answer.headers.emplace("Date", httpDate(std::time(nullptr) + (isLate ? 3600 : 0)));
        return answer;
    });
    EXPECT_EQ(severity("connection", plain.address(), authority), "ok");
    EXPECT_EQ(severity("clock.service", plain.address(), authority), "ok");
    EXPECT_EQ(severity("clock.service", plain.address() + "late/", authority), "warning");

    const RawServer disguised([](RawServer::Connection &connection) {
        connection.write(httpResponse("400 Bad Request", ""));
        connection.waitForClose();
    });
    EXPECT_EQ(severity("tls.protocol", disguised.address("https"), authority), "error");
}

} // namespace
} // namespace vmr::test
