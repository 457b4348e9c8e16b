#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace zentara::soak {

/// What this process and its folder take at one moment.
struct Footprint {
    std::int64_t residentBytes = 0;  ///< once what is free was given back to the system
    std::int64_t connections = 0;
    std::int64_t descriptors = 0;  ///< all others
    std::int64_t threads = 0;
    std::int64_t diskBytes = 0;
    std::int64_t files = 0;
};

[[nodiscard]] Footprint footprint(const std::filesystem::path& folder);

/// What has grown over moments at which equally much was there: "" when nothing has. The first
/// quarter is for warming up. Of the rest, the greatest value of the last third is not to exceed
/// the greatest of the first two thirds by more than
///
/// - 1 MB of memory, which is not looked at under a sanitizer,
/// - 32 connections: after a burst of requests some stay open for a while,
/// - 1 MB in files: a spare keeps the list that it was last used for,
/// - no other descriptor, no thread and no file.
[[nodiscard]] std::string growth(const std::vector<Footprint>& moments);

}  // namespace zentara::soak
