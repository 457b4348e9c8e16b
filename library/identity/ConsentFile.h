#pragma once

#include <string_view>

#include <zentara/Consent.h>
#include "platform/FileSystem.h"
#include "support/Status.h"

namespace zentara {

/// Keeps the user's consent in the file `zentara-consent` of the documents directory: "granted",
/// "pending" or "denied". Not synchronised.
class ConsentFile {
  public:
    static constexpr std::string_view fileName = "zentara-consent";

    /// `files` must outlive this.
    explicit ConsentFile(FileSystem& files) : files_(files), path_(documentsFile(fileName)) {}

    /// `granted` without a file. Fails if it cannot be read, or holds something else.
    [[nodiscard]] Result<Consent> load() const;

    /// Replaces the file in one step. After a success it is on the device.
    [[nodiscard]] Status save(Consent consent) const;

  private:
    FileSystem& files_;
    const FileSystem::Path path_;
};

/// The name of `consent`. A value outside the enumeration is a fatal error.
[[nodiscard]] std::string_view consentName(Consent consent);

}  // namespace zentara
