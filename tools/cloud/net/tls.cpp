#include "tools/cloud/net/tls.h"

#include <arpa/inet.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <filesystem>
#include <stdexcept>

#include "tools/cloud/ground/durable_file.h"

namespace corvenna::cloud {
namespace {

namespace fs = std::filesystem;

using Key = std::unique_ptr<EVP_PKEY, FreedBy<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, FreedBy<X509_free>>;
using Memory = std::unique_ptr<BIO, FreedBy<BIO_free_all>>;
using Extension = std::unique_ptr<X509_EXTENSION, FreedBy<X509_EXTENSION_free>>;

// Forward secrecy and authenticated encryption, for TLS 1.2; TLS 1.3 has nothing else.
constexpr const char *kCiphers = "ECDHE+AESGCM:ECDHE+CHACHA20";
// The others take so much computing that a few clients could hold up all.
constexpr const char *kGroups = "X25519:P-256:P-384";
constexpr long kValidSeconds = 10L * 365 * 24 * 3600;

void Require(bool good, const std::string &what) {
    if (!good) {
        char reason[256] = "unknown reason";
        if (const unsigned long error = ERR_get_error()) {
            ERR_error_string_n(error, reason, sizeof reason);
        }
        throw std::runtime_error(what + ": " + reason);
    }
}

bool IsAddress(const std::string &text) {
    unsigned char bytes[sizeof(in6_addr)];
    return inet_pton(AF_INET, text.c_str(), bytes) == 1 ||
           inet_pton(AF_INET6, text.c_str(), bytes) == 1;
}

void AddExtension(X509 *certificate, int kind, const std::string &value) {
    X509V3_CTX context;
    X509V3_set_ctx_nodb(&context);
    X509V3_set_ctx(&context, certificate, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value.c_str()));
    Require(extension && X509_add_ext(certificate, extension.get(), -1) == 1,
            "cannot make the certificate");
}

Certificate SelfSigned(EVP_PKEY *key, const std::string &address) {
    Certificate certificate(X509_new());
    Require(certificate != nullptr, "cannot make the certificate");
    X509 *made = certificate.get();
    X509_set_version(made, X509_VERSION_3);
    ASN1_INTEGER_set(X509_get_serialNumber(made), 1);
    X509_gmtime_adj(X509_getm_notBefore(made), -3600);
    X509_gmtime_adj(X509_getm_notAfter(made), kValidSeconds);
    X509_set_pubkey(made, key);
    const auto *name = reinterpret_cast<const unsigned char *>("corvenna-cloud");
    X509_NAME_add_entry_by_txt(X509_get_subject_name(made), "CN", MBSTRING_ASC, name, -1, -1, 0);
    X509_set_issuer_name(made, X509_get_subject_name(made));
    std::string names = "DNS:localhost,IP:127.0.0.1,IP:::1";
    if (IsAddress(address)) {
        names += ",IP:" + address;
    }
    AddExtension(made, NID_subject_alt_name, names);
    AddExtension(made, NID_basic_constraints, "critical,CA:TRUE");
    Require(X509_sign(made, key, EVP_sha256()) > 0, "cannot sign the certificate");
    return certificate;
}

/// What one of OpenSSL's PEM writers makes.
template <class Write>
std::string Pem(const Write &write) {
    const Memory memory(BIO_new(BIO_s_mem()));
    Require(memory && write(memory.get()) == 1, "cannot write PEM");
    char *text = nullptr;
    const long length = BIO_get_mem_data(memory.get(), &text);
    return {text, static_cast<std::size_t>(length)};
}

TlsContext NewContext(const CertificateFiles &files) {
    TlsContext context(SSL_CTX_new(TLS_server_method()));
    Require(context != nullptr, "cannot set up TLS");
    Require(SSL_CTX_use_certificate_chain_file(context.get(), files.certificate.c_str()) == 1,
            "cannot use the certificate " + files.certificate);
    Require(SSL_CTX_use_PrivateKey_file(context.get(), files.key.c_str(), SSL_FILETYPE_PEM) == 1,
            "cannot use the key " + files.key);
    Require(SSL_CTX_check_private_key(context.get()) == 1,
            "key and certificate do not belong together");
    return context;
}

}  // namespace

void MakeCertificateIfMissing(const CertificateFiles &files, const std::string &address) {
    if (fs::exists(files.certificate) && fs::exists(files.key)) {
        return;
    }
    const Key key(EVP_EC_gen("P-256"));
    Require(key != nullptr, "cannot make a key");
    const Certificate certificate = SelfSigned(key.get(), address);
    WriteDurably(files.key, Pem([&key](BIO *out) {
                     return PEM_write_bio_PrivateKey(out, key.get(), nullptr, nullptr, 0, nullptr,
                                                     nullptr);
                 }),
                 0600);
    WriteDurably(
        files.certificate,
        Pem([&certificate](BIO *out) { return PEM_write_bio_X509(out, certificate.get()); }), 0644);
}

TlsContexts::TlsContexts(const CertificateFiles &files)
    : current(NewContext(files)), old(NewContext(files)) {
    SSL_CTX_set_min_proto_version(current.get(), TLS1_2_VERSION);
    SSL_CTX_set_options(current.get(), SSL_OP_NO_RENEGOTIATION | SSL_OP_CIPHER_SERVER_PREFERENCE);
    Require(SSL_CTX_set_cipher_list(current.get(), kCiphers) == 1 &&
                SSL_CTX_set1_groups_list(current.get(), kGroups) == 1,
            "cannot choose the ciphers");
    // The oldest versions exist only below the default security level.
    SSL_CTX_set_security_level(old.get(), 0);
    SSL_CTX_set_min_proto_version(old.get(), TLS1_VERSION);
    SSL_CTX_set_max_proto_version(old.get(), TLS1_1_VERSION);
}

}  // namespace corvenna::cloud
