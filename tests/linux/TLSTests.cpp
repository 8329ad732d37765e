#include "linux/HTTPClient.h"
#include "support/LocalServer.h"
#include "support/RawServer.h"

#include <gmock/gmock.h>

namespace vmr::test {
namespace {

using testing::HasSubstr;

CurlOptions trusting(const CertificateAuthority &authority) {
    CurlOptions options;
    options.certificateAuthorityFile = authority.file();
    return options;
}

TEST(TLS, RefusesEveryCertificateThatIsNotTheServersOwn) {
    CertificateAuthority authority;
    CertificateAuthority stranger;
    struct Row {
        const char *name;
        ServerCertificate certificate;
        std::int64_t code;
        const char *text;
    };
    for (const Row &row : std::vector<Row>{
             {"unknown authority", stranger.issue("IP:127.0.0.1"), -1203, "unknown certifying"},
             {"wrong name", authority.issue("DNS:other.example"), -1202, "is invalid"},
             {"expired", authority.issue("IP:127.0.0.1", -10, -1), -1201, "has expired"},
             {"not yet valid", authority.issue("IP:127.0.0.1", 1, 10), -1204, "not yet valid"},
         }) {
        LocalServer server(row.certificate);
        HTTPClient client(trusting(authority));
        const HTTPOutcome outcome = client.get(server.address());
        EXPECT_EQ(errorCode(outcome), row.code) << row.name << errorDetail(outcome);
        ASSERT_TRUE(outcome.error);
        EXPECT_THAT(outcome.error->description(), HasSubstr(row.text));
        EXPECT_THAT(outcome.error->description(), HasSubstr("127.0.0.1"));
        EXPECT_TRUE(server.requests().empty()) << row.name;
    }
}

TEST(TLS, TheSystemsAuthoritiesDoNotVouchForAStranger) {
    CertificateAuthority stranger;
    LocalServer server(stranger.issue("IP:127.0.0.1"));
    HTTPClient client;
    const HTTPOutcome outcome = client.get(server.address());
    ASSERT_TRUE(outcome.error);
    EXPECT_LE(errorCode(outcome), -1200);
    EXPECT_THAT(errorDetail(outcome), HasSubstr("certificate authority file"));
}

TEST(TLS, SaysWhenTheAuthorityFileCannotBeRead) {
    CurlOptions options;
    options.certificateAuthorityFile = "/nonexistent/authorities.pem";
    CertificateAuthority authority;
    LocalServer server(authority.issue("IP:127.0.0.1"));
    HTTPClient client(options);
    const HTTPOutcome outcome = client.get(server.address());
    EXPECT_EQ(errorCode(outcome), -1200);
    EXPECT_THAT(errorDetail(outcome), HasSubstr("/nonexistent/authorities.pem"));
    EXPECT_THAT(errorDetail(outcome), HasSubstr("ca-certificates"));
    client.get(server.address());
    EXPECT_EQ(client.log->countContaining("requests cannot be sent"), 1U);
}

TEST(TLS, APinnedKeyMustBeTheServers) {
    CertificateAuthority authority;
    const ServerCertificate certificate = authority.issue("IP:127.0.0.1");
    auto &server = kept<LocalServer>(certificate);
    CurlOptions options = trusting(authority);
    options.pinnedPublicKey = certificate.publicKeyPin;
    EXPECT_EQ(HTTPClient(options).get(server.address()).statusCode, 200);
    options.pinnedPublicKey = authority.issue("IP:127.0.0.1").publicKeyPin;
    const HTTPOutcome outcome = HTTPClient(options).get(server.address());
    EXPECT_EQ(errorCode(outcome), -1202);
    EXPECT_THAT(errorDetail(outcome), HasSubstr("pin"));
    EXPECT_EQ(server.requests().size(), 1u);
}

TEST(TLS, AServerWithoutTLSIsNoSecureConnection) {
    RawServer plain([](RawServer::Connection &connection) {
        connection.write("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
        connection.waitForClose();
    });
    EXPECT_EQ(errorCode(HTTPClient().get(plain.address("https"))), -1200);
}

} // namespace
} // namespace vmr::test
