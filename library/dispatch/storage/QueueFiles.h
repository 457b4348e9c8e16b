#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "model/EventDecoder.h"
#include "support/Status.h"

namespace zentara {

/// What a file of events was found to be.
struct [[nodiscard]] StoredEvents {
    enum class State {
        missing,  ///< or of 0 bytes, which is what a loss of power leaves of an unflushed file
        list,
        damaged,  ///< read, and not a list; or nothing that is ever read, such as a folder
        unread,   ///< cannot be read for the moment; its contents are not known
    };

    State state = State::missing;
    DecodedEvents decoded;
};

StoredEvents readEvents(const std::filesystem::path& path);

/// The file beside `path` whose name has `prefix` before and `suffix` behind it.
[[nodiscard]] std::filesystem::path sibling(const std::filesystem::path& path,
                                            std::string_view prefix, std::string_view suffix);

/// What follows the name of a queue in the names of files that could not be read in time.
inline constexpr std::string_view unreadSuffix = ".unread-";

/// The failure of a write that would make a file too large to be read again.
[[nodiscard]] ErrorRef tooLarge();

/// Null when there is no such file any more.
[[nodiscard]] ErrorRef removeQueueFile(const std::filesystem::path& path);

/// Moves a damaged file of the queue to a name of its own, which no start reads, and says so and
/// what is wrong with it on standard error. Null on success.
[[nodiscard]] ErrorRef setAside(const std::filesystem::path& damaged,
                                const std::filesystem::path& queue,
                                const std::string& fault = "could not be read");

/// Moves a file that could not be read for the moment, because of `cause`, to a name under which a
/// later start takes it in, and says so on standard error. Null on success.
[[nodiscard]] ErrorRef putBy(const std::filesystem::path& unread,
                             const std::filesystem::path& queue, const Error& cause);

/// Moves the list of another queue to a name under which `queue` takes it in.
[[nodiscard]] ErrorRef handOver(const std::filesystem::path& list,
                                const std::filesystem::path& queue);

}  // namespace zentara
