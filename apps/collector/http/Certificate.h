#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace zentara::collector {

/// A certificate with its private key.
struct Certificate {
    struct Cleanup {
        void operator()(X509* owned) const noexcept { ::X509_free(owned); }
        void operator()(EVP_PKEY* owned) const noexcept { ::EVP_PKEY_free(owned); }
    };

    std::unique_ptr<X509, Cleanup> certificate;
    std::unique_ptr<EVP_PKEY, Cleanup> key;

    [[nodiscard]] std::string certificateText() const;  ///< in PEM
    [[nodiscard]] std::string keyText() const;          ///< in PEM
};

/// The certificate in a PEM text; null if there is none.
[[nodiscard]] std::unique_ptr<X509, Certificate::Cleanup> readCertificate(const std::string& text);
[[nodiscard]] std::unique_ptr<EVP_PKEY, Certificate::Cleanup> readKey(const std::string& text);

/// Makes an authority that is limited to loopback and private addresses and to local names.
[[nodiscard]] Certificate makeAuthority(const std::string& commonName, int days);

/// Makes a certificate for a server under `names`, host names and IP addresses. Throws
/// `std::runtime_error` if `authority` cannot vouch for one of them.
[[nodiscard]] Certificate makeServerCertificate(const Certificate& authority,
                                                const std::string& commonName,
                                                const std::vector<std::string>& names, int days);

}  // namespace zentara::collector
