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
        return std::make_shared<const Shared>(
            std::move(schemaId), std::move(schemaVersion), std::move(url), std::move(contentType),
            std::move(properties), std::move(referer), std::move(relationId));
    }

    /// Holds an object.
    [[nodiscard]] static const std::shared_ptr<const JSONValue>& properties(const Event& event) {
        return event.properties_;
    }

  private:
    /// Lends the constructor to std::make_shared, which puts an event and its count into one piece
    /// of memory.
    struct Shared final : Event {
        template <typename... Values>
        explicit Shared(Values&&... values) : Event(std::forward<Values>(values)...) {}
    };
};

}  // namespace zentara
