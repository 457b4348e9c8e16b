#include "dispatch/UnderWayFile.h"

#include <memory>
#include <string>
#include <utility>

#include "dispatch/FileStorage.h"
#include "dispatch/QueueFiles.h"
#include "platform/File.h"
#include "platform/PlatformError.h"

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
    if (events.empty()) {
        removeFile(path_);
        if (!fileIdentity(path_)) return nullptr;
        return std::make_shared<PlatformError>(PlatformError::Domain::file, 0,
                                               "cannot remove the file");
    }
    std::string text = "[";
    for (const auto& event : events) {
        const auto json = event.jsonText();
        if (!json) {
            return std::make_shared<PlatformError>(PlatformError::Domain::json, 0,
                                                   "JSON cannot hold one of the events");
        }
        if (text.size() > 1) text += ',';
        text += *json;
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
