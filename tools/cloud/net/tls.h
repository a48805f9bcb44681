#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

#include "base/handle.h"

namespace corvenna::cloud {

using TlsContext = std::unique_ptr<SSL_CTX, FreedBy<SSL_CTX_free>>;
using TlsSession = std::unique_ptr<SSL, FreedBy<SSL_free>>;

struct CertificateFiles {
    std::string certificate, key;  ///< PEM
};

/// Makes key and self-signed certificate (for localhost, the loopback addresses and `address`)
/// unless both files are there. Throws std::runtime_error.
void MakeCertificateIfMissing(const CertificateFiles &files, const std::string &address);

/// What an HTTPS listener needs. Throws std::runtime_error when a file cannot be used.
struct TlsContexts {
    explicit TlsContexts(const CertificateFiles &files);

    TlsContext current;  ///< TLS 1.2 and newer
    TlsContext old;      ///< nothing newer than TLS 1.1, for the fault menu
};

}  // namespace corvenna::cloud
