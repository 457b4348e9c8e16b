#pragma once

#include <memory>
#include <utility>

#include <zentara/Event.h>

namespace zentara {

/// The library's own way to make events and to share their properties.
struct EventAccess {
    [[nodiscard]] static EventRef make(std::string schemaId, std::string schemaVersion, AnyText url,
                                       std::string contentType,
                                       std::shared_ptr<const JSONValue> properties, AnyText referer,
                                       std::optional<std::string> relationId) {
        return EventRef(new Event(std::move(schemaId), std::move(schemaVersion), std::move(url),
                                  std::move(contentType), std::move(properties), std::move(referer),
                                  std::move(relationId)));
    }

    /// Holds an object.
    [[nodiscard]] static const std::shared_ptr<const JSONValue>& properties(const Event& event) {
        return event.properties_;
    }
};

}  // namespace zentara
