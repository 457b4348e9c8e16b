#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "collector/http/HttpSettings.h"

namespace zentara::collector {

struct Certificate;

/// A certificate authority of this machine, for HTTPS without a public certificate.
///
/// It can vouch for this machine, for private networks and for names under "localhost", "local"
/// and "test" only, so that trusting it puts no other site at risk. Its folder can be entered by
/// its user only and holds "ca.pem", which clients trust, and "ca-key.pem", which is secret. The
/// first process makes it; a damaged file is never replaced.
///
/// Immutable: any thread.
class LocalAuthority {
  public:
    /// Opens the authority in `folder`, or makes it if there is none or it would expire soon.
    /// Several processes may do so at the same time. Throws `std::runtime_error` with the name of
    /// the file that cannot be used.
    explicit LocalAuthority(const std::filesystem::path& folder);
    ~LocalAuthority();
    LocalAuthority(const LocalAuthority&) = delete;
    LocalAuthority& operator=(const LocalAuthority&) = delete;

    /// The certificate that clients must trust, in PEM.
    [[nodiscard]] const std::filesystem::path& certificateFile() const noexcept {
        return certificateFile_;
    }

    /// Whether this object has made the authority.
    [[nodiscard]] bool isNew() const noexcept { return isNew_; }

    /// A new certificate for the loopback names of this machine and for `names`, which are host
    /// names and IP addresses. It is valid for 397 days and not stored. Throws `std::runtime_error`
    /// if the authority cannot vouch for one of the names.
    [[nodiscard]] TLSCredentials issue(const std::vector<std::string>& names) const;

  private:
    const std::filesystem::path certificateFile_;
    bool isNew_ = false;
    std::unique_ptr<Certificate> own_;
};

}  // namespace zentara::collector
