#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace zentara::soak {

/// The resources of this process and its folder at one moment.
struct Footprint {
    std::int64_t residentBytes = 0;  ///< after free memory was returned to the system
    std::int64_t connections = 0;
    std::int64_t descriptors = 0;  ///< all others
    std::int64_t threads = 0;
    std::int64_t diskBytes = 0;
    std::int64_t files = 0;
};

[[nodiscard]] Footprint footprint(const std::filesystem::path& folder);

/// The resources that grew, "" if none did. The moments must have the same load; the first quarter
/// of them is ignored. Of the others, the maximum of the last third may exceed the maximum of the
/// first two thirds by
///
/// - 1 MB of memory, which is not compared under a sanitizer,
/// - 32 connections, as some stay open for a while after a burst of requests,
/// - 1 MB in files, as a spare keeps its last list,
/// - one file and its descriptor: a queue that was delivered whole has no checkpoint, or an empty
///   one,
/// - and no thread.
[[nodiscard]] std::string growth(const std::vector<Footprint>& moments);

}  // namespace zentara::soak
