#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "collector/http/TLSCredentials.h"

namespace zentara::collector {

struct Certificate;

/// A certificate authority of this machine's own, so that HTTPS works here without a certificate
/// from elsewhere.
///
/// It can vouch for this machine, for private networks and for names under "localhost", "local"
/// and "test" only: who trusts it does not put any other site at risk. It is kept in a folder that
/// only its user can enter: "ca.pem" to be trusted, "ca-key.pem" to be kept. Whoever comes first
/// makes it; a file that is damaged is never replaced.
///
/// Immutable: any thread.
class LocalAuthority {
  public:
    /// Opens the authority in `folder`, or makes it where there is none or it would soon end.
    /// Several processes may do so at the same time. Throws `std::runtime_error`, with the name of
    /// the file, when one cannot be used.
    explicit LocalAuthority(const std::filesystem::path& folder);
    ~LocalAuthority();
    LocalAuthority(const LocalAuthority&) = delete;
    LocalAuthority& operator=(const LocalAuthority&) = delete;

    /// What clients have to trust, in PEM.
    [[nodiscard]] const std::filesystem::path& certificateFile() const noexcept {
        return certificateFile_;
    }

    /// Whether this object has made it.
    [[nodiscard]] bool isNew() const noexcept { return isNew_; }

    /// A certificate for this machine under its loopback names and under `names`, which are host
    /// names and IP addresses, with a key of its own; kept nowhere and valid for 397 days. Throws
    /// `std::runtime_error` when the authority cannot vouch for one of the names.
    [[nodiscard]] TLSCredentials issue(const std::vector<std::string>& names) const;

  private:
    const std::filesystem::path certificateFile_;
    bool isNew_ = false;
    std::unique_ptr<Certificate> own_;
};

}  // namespace zentara::collector
