#include "dispatch/storage/UnderWayFile.h"

#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "dispatch/storage/FileStorage.h"
#include "dispatch/storage/QueueFiles.h"
#include "platform/File.h"
#include "support/PlatformError.h"

namespace zentara {

UnderWayFile::UnderWayFile(std::string_view queueName)
    : queue_(documentsFile(queueName)),
      path_(sibling(queue_, ".", ".under-way")),
      failures_(Component::storage, path_.filename().string()) {}

ErrorRef UnderWayFile::save(std::span<const InternalEvent> events) {
    auto error = write(events);
    failures_.report(error);
    return error;
}

ErrorRef UnderWayFile::write(std::span<const InternalEvent> events) {
    if (inTheWay_) return inTheWay_;
    if (events.empty()) return removeQueueFile(path_);
    std::uint64_t size = 1 + events.size();
    for (const auto& event : events) {
        const auto json = event.jsonText();
        if (!json) {
            return std::make_shared<PlatformError>(PlatformError::Domain::json, 0,
                                                   "JSON cannot hold one of the events");
        }
        size += json->size();
    }
    if (size > maximumFileSize) return tooLarge();
    std::string text;
    text.reserve(size);
    for (const auto& event : events) {
        text += text.empty() ? '[' : ',';
        text += event.text().json;
    }
    text += ']';
    return writeFileAtomically(path_, text);
}

Loaded<InternalEvent> UnderWayFile::load() {
    auto stored = readEvents(path_);
    if (stored.state == StoredEvents::State::damaged) inTheWay_ = setAside(path_, queue_);
    if (stored.state == StoredEvents::State::unread) {
        inTheWay_ = putBy(path_, queue_, *stored.decoded.error);
    }
    return {std::move(stored.decoded.events), stored.decoded.error,
            stored.state != StoredEvents::State::missing};
}

}  // namespace zentara
