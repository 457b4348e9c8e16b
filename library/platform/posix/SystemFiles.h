#pragma once

#include <string>

// What the sources of this folder share, and what a system supplies to them.
namespace zentara {

/// Lets two files trade names; -1 with `errno` set on failure, as `rename` does.
[[nodiscard]] int exchangeNames(const char* one, const char* other) noexcept;

/// See `FileSystem::bootIdentity`.
[[nodiscard]] std::string bootIdentity();

/// Forked children close `descriptor` from now on, such as that of a lock that only the parent
/// holds. At most 256 descriptors; children keep any beyond that.
void closeInForkedChildren(int descriptor);

/// Undoes `closeInForkedChildren`. Must be called before the descriptor is closed.
void keepInForkedChildren(int descriptor) noexcept;

}  // namespace zentara
