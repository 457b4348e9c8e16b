#include "Footprint.h"

#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <span>
#include <system_error>

namespace zentara::soak {

namespace {

#ifdef ZENTARA_SANITIZED
constexpr bool isMemoryMeaningful = false;
#else
constexpr bool isMemoryMeaningful = true;
#endif

constexpr std::int64_t megabyte = 1'000'000;

std::int64_t entriesIn(const std::filesystem::path& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
}

}  // namespace

Footprint footprint(const std::filesystem::path& folder) {
    Footprint now;
    ::malloc_trim(0);
    std::ifstream memory("/proc/self/statm");
    std::int64_t pages = 0;
    memory >> pages >> pages;
    now.residentBytes = pages * ::sysconf(_SC_PAGESIZE);
    for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code isGone;
        const auto target = std::filesystem::read_symlink(descriptor, isGone).string();
        ++(target.starts_with("socket:") ? now.connections : now.descriptors);
    }
    now.threads = entriesIn("/proc/self/task");
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (!entry.is_regular_file()) continue;
        ++now.files;
        now.diskBytes += static_cast<std::int64_t>(entry.file_size());
    }
    return now;
}

std::string growth(const std::vector<Footprint>& moments) {
    const auto warm = std::span(moments).subspan(moments.size() / 4);
    const auto early = warm.first(warm.size() * 2 / 3);
    const auto late = warm.subspan(early.size());
    if (early.empty() || late.empty()) return "too few moments to compare";
    std::string grown;
    const auto compare = [&](const char* name, std::int64_t Footprint::*value,
                             std::int64_t allowance) {
        const auto greatest = [value](std::span<const Footprint> some) {
            return std::ranges::max(some, {}, value).*value;
        };
        if (greatest(late) <= greatest(early) + allowance) return;
        grown += std::string(grown.empty() ? "" : ", ") + name + " from " +
                 std::to_string(greatest(early)) + " to " + std::to_string(greatest(late));
    };
    if (isMemoryMeaningful) compare("memory", &Footprint::residentBytes, megabyte);
    compare("connections", &Footprint::connections, 32);
    compare("descriptors", &Footprint::descriptors, 1);
    compare("threads", &Footprint::threads, 0);
    compare("disk", &Footprint::diskBytes, megabyte);
    compare("files", &Footprint::files, 1);
    return grown;
}

}  // namespace zentara::soak
