#pragma once

#include "support/TemporaryFolder.h"

#include <memory>
#include <string>

namespace vmr::test {

struct ServerCertificate {
    std::string certificateFile;
    std::string keyFile;
    /// "sha256//" and the base64 digest of the public key.
    std::string publicKeyPin;
};

/// A certificate authority made for one test; its files live in a temporary folder that goes with
/// it.
class CertificateAuthority {
public:
    CertificateAuthority();
    ~CertificateAuthority();

    /// PEM file of the authority's own certificate.
    const std::string &file() const { return file_; }
    /// A server's certificate. `names` is written like "DNS:localhost,IP:127.0.0.1"; the days are
    /// counted from now, negative ones lie in the past.
    ServerCertificate issue(const std::string &names, int validFromDays = -1,
                            int validUntilDays = 1);

private:
    struct Key;
    TemporaryFolder folder_;
    const std::string file_ = folder_.file("authority.pem");
    std::unique_ptr<Key> key_;
    int issued_ = 0;
};

} // namespace vmr::test
