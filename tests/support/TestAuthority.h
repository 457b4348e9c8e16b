#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "support/TemporaryDirectory.h"

namespace zentara::test {

/// A certificate with its private key.
struct TestCertificate {
    struct Cleanup {
        void operator()(X509* made) const noexcept { ::X509_free(made); }
        void operator()(EVP_PKEY* made) const noexcept { ::EVP_PKEY_free(made); }
    };

    std::unique_ptr<X509, Cleanup> certificate;
    std::unique_ptr<EVP_PKEY, Cleanup> key;
};

/// A certificate authority of its own, made on the spot.
class TestAuthority {
  public:
    enum class Validity { current, expired };

    TestAuthority();

    /// The authority's certificate as a PEM file; gone with this object.
    [[nodiscard]] std::string file() const {
        return (directory_.path() / "authority.pem").string();
    }

    /// A certificate for these hosts, each as OpenSSL spells a subject alternative name: for
    /// example "DNS:localhost" or "IP:127.0.0.1".
    [[nodiscard]] TestCertificate issue(const std::vector<std::string>& alternativeNames,
                                        Validity validity = Validity::current) const;

    /// A certificate for this machine under all its loopback names.
    [[nodiscard]] TestCertificate issueForLoopback(Validity validity = Validity::current) const {
        return issue({"DNS:localhost", "IP:127.0.0.1", "IP:::1"}, validity);
    }

  private:
    TemporaryDirectory directory_;
    TestCertificate own_;
};

}  // namespace zentara::test
