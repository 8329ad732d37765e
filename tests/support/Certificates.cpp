#include "support/Certificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <array>
#include <cstdio>
#include <stdexcept>

namespace vmr::test {
namespace {

struct FreeKey {
    void operator()(EVP_PKEY *key) const { ::EVP_PKEY_free(key); }
};
struct FreeCertificate {
    void operator()(X509 *certificate) const { ::X509_free(certificate); }
};
struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using KeyPointer = std::unique_ptr<EVP_PKEY, FreeKey>;
using CertificatePointer = std::unique_ptr<X509, FreeCertificate>;
using FilePointer = std::unique_ptr<std::FILE, CloseFile>;

void addExtension(X509 *certificate, X509 *issuer, int kind, const std::string &value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    ::X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    X509_EXTENSION *extension = ::X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str());
    if (extension == nullptr)
        throw std::runtime_error("no such certificate extension: " + value);
    ::X509_add_ext(certificate, extension, -1);
    ::X509_EXTENSION_free(extension);
}

CertificatePointer makeCertificate(EVP_PKEY *key, const char *commonName, long serial, int fromDays,
                                   int untilDays) {
    CertificatePointer certificate(::X509_new());
    ::X509_set_version(certificate.get(), 2);
    ::ASN1_INTEGER_set(::X509_get_serialNumber(certificate.get()), serial);
    ::X509_gmtime_adj(::X509_getm_notBefore(certificate.get()), 86400L * fromDays);
    ::X509_gmtime_adj(::X509_getm_notAfter(certificate.get()), 86400L * untilDays);
    ::X509_set_pubkey(certificate.get(), key);
    ::X509_NAME_add_entry_by_txt(::X509_get_subject_name(certificate.get()), "CN", MBSTRING_ASC,
                                 reinterpret_cast<const unsigned char *>(commonName), -1, -1, 0);
    return certificate;
}

void writeCertificate(const std::string &path, X509 *certificate) {
    const FilePointer file(std::fopen(path.c_str(), "w"));
    ::PEM_write_X509(file.get(), certificate);
}

std::string pinOf(EVP_PKEY *key) {
    unsigned char *encoded = nullptr;
    const int size = ::i2d_PUBKEY(key, &encoded);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    ::EVP_Digest(encoded, static_cast<std::size_t>(size), digest.data(), &length, ::EVP_sha256(),
                 nullptr);
    ::OPENSSL_free(encoded);
    std::array<unsigned char, 64> base64{};
    ::EVP_EncodeBlock(base64.data(), digest.data(), static_cast<int>(length));
    return "sha256//" + std::string(reinterpret_cast<const char *>(base64.data()));
}

} // namespace

struct CertificateAuthority::Key {
    KeyPointer key;
    CertificatePointer certificate;
};

CertificateAuthority::CertificateAuthority() : key_(std::make_unique<Key>()) {
    key_->key.reset(EVP_EC_gen("P-256"));
    const std::string &path = folder_.path();
    // A name of its own: an authority of the same name would be taken for this one.
    key_->certificate =
        makeCertificate(key_->key.get(), path.c_str() + path.rfind('-'), 1, -1000, 1000);
    X509 *certificate = key_->certificate.get();
    ::X509_set_issuer_name(certificate, ::X509_get_subject_name(certificate));
    addExtension(certificate, certificate, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(certificate, certificate, NID_key_usage, "critical,keyCertSign");
    ::X509_sign(certificate, key_->key.get(), ::EVP_sha256());
    writeCertificate(file_, certificate);
}

CertificateAuthority::~CertificateAuthority() = default;

ServerCertificate CertificateAuthority::issue(const std::string &names, int validFromDays,
                                              int validUntilDays) {
    const KeyPointer key(EVP_EC_gen("P-256"));
    const CertificatePointer certificate =
        makeCertificate(key.get(), "Test server", 2 + issued_, validFromDays, validUntilDays);
    ::X509_set_issuer_name(certificate.get(), ::X509_get_subject_name(key_->certificate.get()));
    addExtension(certificate.get(), key_->certificate.get(), NID_subject_alt_name, names);
    ::X509_sign(certificate.get(), key_->key.get(), ::EVP_sha256());

    const std::string base = folder_.file("server" + std::to_string(++issued_));
    writeCertificate(base + ".pem", certificate.get());
    const FilePointer file(std::fopen((base + ".key").c_str(), "w"));
    ::PEM_write_PrivateKey(file.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
    return {base + ".pem", base + ".key", pinOf(key.get())};
}

} // namespace vmr::test
