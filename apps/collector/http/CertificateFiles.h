#pragma once

#include <filesystem>
#include <string>

#include "collector/http/HttpSettings.h"

namespace zentara::collector {

/// A certificate and its key in files that something else renews. For one thread at a time.
class CertificateFiles {
  public:
    CertificateFiles(std::filesystem::path certificate, std::filesystem::path key);

    /// Reads both. Throws `std::runtime_error` with the name of a file that cannot be read.
    [[nodiscard]] TLSCredentials read();

    /// Whether the files have changed since they were read last, and not since the call before:
    /// until then a program may be writing them.
    [[nodiscard]] bool haveChanged();

  private:
    /// Identifies a state of both files without reading them.
    [[nodiscard]] std::string signature() const;

    const std::filesystem::path certificate_;
    const std::filesystem::path key_;
    std::string read_;  // the signature at the last reading
    std::string seen_;  // at the last look
};

}  // namespace zentara::collector
