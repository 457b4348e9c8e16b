#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "collector/http/Certificate.h"
#include "support/Files.h"
#include "support/TemporaryDirectory.h"

namespace zentara::test {

/// A certificate authority of its own, made on the spot as the collector makes it.
class TestAuthority {
  public:
    TestAuthority() { writeTo(file(), own_.certificateText()); }

    /// The authority's certificate as a PEM file; gone with this object.
    [[nodiscard]] std::string file() const {
        return (directory_.path() / "authority.pem").string();
    }

    /// A certificate for these hosts below .localhost and .test, or for this machine under all its
    /// loopback names.
    [[nodiscard]] collector::Certificate issue(const std::vector<std::string>& names = {
                                                   "localhost", "127.0.0.1", "::1"}) const {
        return collector::makeServerCertificate(own_, "Test server", names, 1);
    }

    [[nodiscard]] collector::Certificate issueExpired() const {
        auto issued = issue();
        ::X509_gmtime_adj(::X509_getm_notAfter(issued.certificate.get()), -60);
        if (::X509_sign(issued.certificate.get(), own_.key.get(), ::EVP_sha256()) <= 0) {
            throw std::runtime_error("cannot sign");
        }
        return issued;
    }

  private:
    TemporaryDirectory directory_;
    const collector::Certificate own_ =
        collector::makeAuthority(directory_.path().filename().string(), 1);
};

}  // namespace zentara::test
