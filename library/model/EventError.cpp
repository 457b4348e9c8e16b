#include "model/EventError.h"

#include <utility>

#include "json/JSONText.h"

namespace zentara {

std::optional<EventErrorCode> eventErrorCode(std::int64_t rawValue) noexcept {
    const auto code = static_cast<EventErrorCode>(rawValue);
    switch (code) {
        case EventErrorCode::notInitialized:
        case EventErrorCode::notReady:
        case EventErrorCode::invalidData:
        case EventErrorCode::unknown:
        case EventErrorCode::notQueued:
            return code;
    }
    return std::nullopt;
}

ZentaraClientError::ZentaraClientError(std::string domain, std::int64_t code,
                                       std::optional<JSONObject> userInfo)
    : domain_(std::move(domain)),
      code_(code),
      userInfo_(userInfo ? withValidUTF8(*std::move(userInfo)) : JSONObject()) {
    const auto* const value = userInfo_.find(localizedDescriptionKey);
    if (value != nullptr) description_ = value->ifString().value_or("");
}

ZentaraClientError::ZentaraClientError(EventErrorCode code, const std::string& message)
    : ZentaraClientError(errorDomain, static_cast<std::int64_t>(code),
                         JSONObject{{localizedDescriptionKey, message}}) {}

ZentaraClientError::~ZentaraClientError() = default;

const char* ZentaraClientError::what() const noexcept {
    return description_.c_str();
}

ZentaraClientNotInitializedError::ZentaraClientNotInitializedError()
    : ZentaraClientError(EventErrorCode::notInitialized, "Zentara Client not initialized!") {}

ZentaraClientNotReady::ZentaraClientNotReady(const std::string& detail)
    : ZentaraClientError(EventErrorCode::notReady, "Zentara Client is not Ready! " + detail) {}

InvalidDataForSpecifiedSchemaError::InvalidDataForSpecifiedSchemaError(const std::string& detail)
    : ZentaraClientError(EventErrorCode::invalidData,
                         "Data not valid for specified Schema. " + detail) {}

UnknownError::UnknownError() : ZentaraClientError(EventErrorCode::unknown, "Unknown error") {}

EventNotQueuedError::EventNotQueuedError()
    : ZentaraClientError(EventErrorCode::notQueued, "Event Not Queued") {}

ConsentDeniedError::ConsentDeniedError()
    : ZentaraClientError(EventErrorCode::notQueued, "Event not queued: consent is denied") {}

EventDroppedError::EventDroppedError()
    : ZentaraClientError(EventErrorCode::notQueued, "Event not queued: the host has dropped it") {}

BeforeQueueError::BeforeQueueError(const std::string& detail)
    : ZentaraClientError(EventErrorCode::notQueued,
                         "Event not queued: the host's function has thrown: " + detail) {}

ClientShutDownError::ClientShutDownError()
    : ZentaraClientError(EventErrorCode::notQueued, "Event not queued: the client is shut down") {}

SchemasInitializationError::SchemasInitializationError()
    : ZentaraClientError(EventErrorCode::notQueued, "Zentara client can not get schemas") {}

const char* ZentaraClientNotConfiguredError::what() const noexcept {
    return "ZentaraClient is not configured: call ZentaraClient::useSettings first";
}

}  // namespace zentara
