#include "doctor/Checks.h"

#include <curl/curl.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <filesystem>
#include <memory>

namespace velmora::doctor {
namespace {

namespace fs = std::filesystem;

struct Authorities {
    int valid = 0;
    int expired = 0;
};

Authorities authoritiesIn(const std::string &path) {
    Authorities found;
    const std::unique_ptr<BIO, decltype(&BIO_free_all)> file(BIO_new_file(path.c_str(), "r"),
                                                             BIO_free_all);
    while (file) {
        const std::unique_ptr<X509, decltype(&X509_free)> certificate(
            PEM_read_bio_X509(file.get(), nullptr, nullptr, nullptr), X509_free);
        if (!certificate)
            break;
        const bool isOver = X509_cmp_current_time(X509_get0_notAfter(certificate.get())) < 0;
        ++(isOver ? found.expired : found.valid);
    }
    return found;
}

void checkFile(const std::string &path, const char *remedy, Findings &findings) {
    const Authorities found = authoritiesIn(path);
    if (found.valid == 0 && found.expired == 0)
        findings.fail("tls.trust", "no certificate can be read from " + path, remedy);
    else if (found.valid == 0)
        findings.fail("tls.trust", "every authority in " + path + " has expired", remedy);
    else
        findings.ok("tls.trust",
                    std::to_string(found.valid) + " authorities are trusted, from " + path);
}

} // namespace

void checkTrust(const Subject &subject, Findings &findings) {
    if (subject.service && subject.service->scheme == "http") {
        findings.ok("tls.trust", "no TLS on the way to a loopback address with http");
        return;
    }
    if (subject.given.certificateAuthorityFile) {
        checkFile(*subject.given.certificateAuthorityFile,
                  "name a PEM file with the certificate of the service's authority", findings);
        return;
    }
    const curl_version_info_data *curl = curl_version_info(CURLVERSION_NOW);
    const std::string file = curl->cainfo != nullptr ? curl->cainfo : "";
    const std::string folder = curl->capath != nullptr ? curl->capath : "";
    std::error_code error;
    if (!file.empty())
        checkFile(file, "install the package ca-certificates", findings);
    else if (fs::is_directory(folder, error) && !fs::is_empty(folder, error))
        findings.ok("tls.trust", "the authorities in " + folder + " are trusted");
    else
        findings.fail("tls.trust", "the system has no trusted authorities in " + folder,
                      "install the package ca-certificates, or name a CA file");
}

} // namespace velmora::doctor
