#include "doctor/Checks.h"
#include "doctor/Connection.h"

#include <curl/curl.h>
#include <openssl/x509_vfy.h>

#include <cstdlib>

namespace velmora::doctor {
namespace {

constexpr int fewDays = 21;
constexpr long toleratedSeconds = 60;

void tellVerification(const Connection &connection, Findings &findings) {
    switch (connection.verification) {
    case X509_V_ERR_CERT_HAS_EXPIRED:
        findings.fail("tls.expiry", connection.failureText,
                      "have the service's certificate renewed, and check this machine's clock");
        break;
    case X509_V_ERR_CERT_NOT_YET_VALID:
        findings.fail("tls.expiry", connection.failureText,
                      "check this machine's clock, then the service's certificate");
        break;
    case X509_V_OK:
    case X509_V_ERR_UNSPECIFIED: // curl compares the name before it asks about the chain
        findings.fail("tls.host", connection.failureText,
                      "use the name for which the service's certificate was made");
        break;
    default:
        findings.fail("tls.chain", connection.failureText,
                      "name the authority's PEM file as CA file, or have the service send its "
                      "intermediate certificates");
        break;
    }
}

void tellFailure(const Connection &connection, Findings &findings) {
    switch (connection.failure) {
    case CURLE_PEER_FAILED_VERIFICATION:
        tellVerification(connection, findings);
        break;
    case CURLE_SSL_PINNEDPUBKEYNOTMATCH:
        findings.fail("tls.pin", connection.failureText,
                      "pin the service's present key, and the next one beside it");
        break;
    case CURLE_SSL_CACERT_BADFILE:
        findings.fail("tls.chain", connection.failureText, "name a PEM file that can be read");
        break;
    case CURLE_SSL_CONNECT_ERROR:
        findings.fail("tls.protocol", connection.failureText,
                      "have the service offer TLS 1.2 or newer; make sure that the port speaks "
                      "TLS");
        break;
    default:
        findings.fail("connection", connection.failureText,
                      "check the address, the firewall and whether the service runs");
        break;
    }
}

void tellCertificate(const Connection &connection, Findings &findings) {
    if (connection.protocol.empty())
        return;
    findings.ok("tls.protocol", "the connection is protected with " + connection.protocol);
    findings.ok("tls.chain", "the certificate's chain and host name are right");
    if (!connection.daysLeft)
        return;
    const std::string text =
        "the certificate's chain is valid for " + std::to_string(*connection.daysLeft) + " days";
    if (*connection.daysLeft < fewDays)
        findings.warn("tls.expiry", text, "have the service's certificate renewed");
    else
        findings.ok("tls.expiry", text);
}

void tellTime(const Connection &connection, Findings &findings) {
    if (!connection.serverTime)
        return;
    const long difference = std::time(nullptr) - *connection.serverTime;
    const std::string text = "this machine's clock is " + std::to_string(std::labs(difference)) +
                             " s " + (difference < 0 ? "behind" : "ahead of") + " the service's";
    if (std::labs(difference) > toleratedSeconds)
        findings.warn("clock.service", text, "let a time service set it: timedatectl set-ntp on");
    else
        findings.ok("clock.service", text);
}

} // namespace

void checkConnection(const Subject &subject, Findings &findings) {
    if (!subject.given.connect || !subject.service)
        return;
    if (!subject.sdk["interception"]["allowed"].get<bool>()) {
        findings.warn("connection", "no connection was tried, as the SDK makes none",
                      "see ingest.interception");
        return;
    }
    const Connection connection = connectTo(*subject.service, subject.given);
    if (connection.failure != CURLE_OK) {
        tellFailure(connection, findings);
        return;
    }
    findings.ok("connection", subject.service->address + " answers, HEAD with status " +
                                  std::to_string(connection.status));
    tellCertificate(connection, findings);
    tellTime(connection, findings);
}

} // namespace velmora::doctor
