#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <zentara/AnyText.h>
#include <zentara/Export.h>
#include <zentara/JSONValue.h>
#include <zentara/Language.h>

namespace zentara {

/// An event as the host application describes it. Immutable and shared by pointer. Safe to read
/// from any thread and to keep. Made by `ZentaraClient::createEvent`.
class ZENTARA_EXPORT Event {
  public:
    [[nodiscard]] const std::string& schemaId() const noexcept { return values_.schemaId; }
    [[nodiscard]] const std::string& schemaVersion() const noexcept {
        return values_.schemaVersion;
    }
    [[nodiscard]] const std::string& contentType() const noexcept { return values_.contentType; }
    [[nodiscard]] const AnyText& url() const noexcept { return values_.url; }
    [[nodiscard]] const AnyText& referer() const noexcept { return values_.referer; }
    [[nodiscard]] const JSONObject& properties() const noexcept {
        return values_.properties->object();
    }
    [[nodiscard]] const std::optional<std::string>& relationId() const noexcept {
        return values_.relationId;
    }

    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

  private:
    friend struct EventAccess;

    struct Values {
        std::string schemaId;
        std::string schemaVersion;
        std::string contentType;
        AnyText url;
        AnyText referer;
        std::shared_ptr<const JSONValue> properties;  ///< holds an object; never copied
        std::optional<std::string> relationId;
    };

    explicit Event(Values values) : values_(std::move(values)) {}

    const Values values_;
};

/// An event that several owners share.
using EventRef = std::shared_ptr<const Event>;

}  // namespace zentara
