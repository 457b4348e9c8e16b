#pragma once

#include <filesystem>
#include <string>

#include "platform/FileSystem.h"

// What `systemFiles` consists of, apart from the files themselves.
namespace zentara {

/// Lets two files trade names; -1 with `errno` set on failure, as `rename` does.
[[nodiscard]] int exchangeNames(const char* one, const char* other) noexcept;

[[nodiscard]] std::string bootIdentity();

[[nodiscard]] FolderClaim claimFolder(const std::filesystem::path& folder);
void releaseFolder(const std::filesystem::path& folder);

}  // namespace zentara
