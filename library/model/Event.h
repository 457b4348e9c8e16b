#pragma once

#include <memory>
#include <optional>
#include <string>

#include <zentara/AnyText.h>
#include <zentara/Export.h>
#include <zentara/JSONValue.h>

namespace zentara {

/// An event as the host application describes it. Immutable, shared by pointer, safe to read from
/// any thread and to keep for as long as one likes. Made by `ZentaraClient::createEvent`.
class ZENTARA_EXPORT Event {
  public:
    [[nodiscard]] const std::string& schemaId() const noexcept { return schemaId_; }
    [[nodiscard]] const std::string& schemaVersion() const noexcept { return schemaVersion_; }
    [[nodiscard]] const std::string& contentType() const noexcept { return contentType_; }
    [[nodiscard]] const AnyText& url() const noexcept { return url_; }
    [[nodiscard]] const AnyText& referer() const noexcept { return referer_; }
    [[nodiscard]] const JSONObject& properties() const noexcept { return properties_->object(); }
    [[nodiscard]] const std::optional<std::string>& relationId() const noexcept {
        return relationId_;
    }

    Event(const Event&) = delete;
    Event& operator=(const Event&) = delete;

  private:
    friend struct EventAccess;

    /// `properties` holds an object; it is shared, never copied.
    Event(std::string schemaId, std::string schemaVersion, AnyText url, std::string contentType,
          std::shared_ptr<const JSONValue> properties, AnyText referer,
          std::optional<std::string> relationId);

    std::string schemaId_;
    std::string schemaVersion_;
    std::string contentType_;
    AnyText url_;
    AnyText referer_;
    std::shared_ptr<const JSONValue> properties_;
    std::optional<std::string> relationId_;
};

/// An event that several owners share.
using EventRef = std::shared_ptr<const Event>;

}  // namespace zentara
