#include "dispatch/storage/QueueFiles.h"

#include <cerrno>
#include <chrono>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <utility>

#include "platform/File.h"
#include "support/Clocks.h"
#include "support/Diagnostics.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

/// A free name that begins like the queue's and ends in the time.
std::filesystem::path stamped(const std::filesystem::path& queue, std::string_view suffix) {
    const auto now = ZentaraClock().now().time_since_epoch();
    auto stamp = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    auto path = sibling(queue, "", std::string(suffix) + std::to_string(stamp));
    while (fileIdentity(path))
        path = sibling(queue, "", std::string(suffix) + std::to_string(++stamp));
    return path;
}

ErrorRef moveAway(const std::filesystem::path& from, const std::filesystem::path& to,
                  const std::string& story) {
    auto error = renameFile(from, to);
    if (!error) {
        printWarning("ZentaraClient: '" + from.string() + "' " + story + " '" +
                     to.filename().string() + "'");
    } else if (const auto* failure = dynamic_cast<const PlatformError*>(error.get());
               failure != nullptr && failure->code() == ENOENT) {
        // It is gone already.
        return nullptr;
    }
    return error;
}

StoredEvents readContents(const std::filesystem::path& path) {
    using State = StoredEvents::State;
    try {
        auto contents = readFile(path);
        if (contents.bytes) {
            auto decoded = decodeEvents(*std::move(contents.bytes));
            return {decoded.isList ? State::list : State::damaged, std::move(decoded)};
        }
        if (!contents.error) return {};
        return {contents.isUnfit ? State::damaged : State::unread, {{}, contents.error}};
    } catch (const std::bad_alloc&) {
        return {State::unread, {{}, outOfMemory("read the events")}};
    }
}

}  // namespace

StoredEvents readEvents(const std::filesystem::path& path) {
    // Asked first: a file of 0 bytes holds nothing, also when it cannot be read.
    std::error_code unknown;
    const bool isEmpty = std::filesystem::file_size(path, unknown) == 0;
    auto stored = readContents(path);
    if (isEmpty) stored.state = StoredEvents::State::missing;
    return stored;
}

std::filesystem::path sibling(const std::filesystem::path& path, std::string_view prefix,
                              std::string_view suffix) {
    auto result = path;
    std::string name(prefix);
    name += path.filename().string();
    name += suffix;
    result.replace_filename(name);
    return result;
}

ErrorRef tooLarge() {
    return std::make_shared<PlatformError>(
        PlatformError::Domain::file, EFBIG,
        "the file would be larger than " + std::to_string(maximumFileSize >> 20U) + " MiB");
}

ErrorRef removeQueueFile(const std::filesystem::path& path) {
    removeFile(path);
    if (!fileIdentity(path)) return nullptr;
    return std::make_shared<PlatformError>(PlatformError::Domain::file, 0,
                                           "cannot remove '" + path.string() + "'");
}

ErrorRef setAside(const std::filesystem::path& damaged, const std::filesystem::path& queue,
                  const std::string& fault) {
    return moveAway(damaged, stamped(queue, ".unreadable-"), fault + " and was set aside as");
}

ErrorRef putBy(const std::filesystem::path& unread, const std::filesystem::path& queue,
               const Error& cause) {
    return moveAway(
        unread, stamped(queue, unreadSuffix),
        "could not be read for now (" + cause.description() + ") and waits for the next start as");
}

ErrorRef handOver(const std::filesystem::path& list, const std::filesystem::path& queue) {
    return renameFile(list, stamped(queue, unreadSuffix));
}

}  // namespace zentara
