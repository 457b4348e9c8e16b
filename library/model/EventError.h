#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>

#include <zentara/Export.h>
#include <zentara/JSONValue.h>
#include <zentara/Language.h>

namespace zentara {

/// The codes of the library's errors. Codes tell groups apart; classes tell errors apart, because
/// several classes share `notQueued`.
enum class EventErrorCode : std::int64_t {
    notInitialized = 0,
    notReady = 1,
    invalidData = 2,
    unknown = 3,
    notQueued = 4,
};

/// The code with this raw value, or nothing.
[[nodiscard]] ZENTARA_EXPORT std::optional<EventErrorCode> eventErrorCode(
    std::int64_t rawValue) noexcept;

/// Base of every failure that reaches the host through a callback: a domain, a code and a
/// dictionary that holds one message. Immutable; shared by pointer, may be kept.
class ZENTARA_EXPORT ZentaraClientError : public std::exception {
  public:
    /// The domain of the library's own errors.
    static constexpr const char* errorDomain = "ZentaraClient";

    /// The key of the message in `userInfo()`.
    static constexpr const char* localizedDescriptionKey = "NSLocalizedDescription";

    /// For errors of the host's own, too.
    ZentaraClientError(std::string domain, std::int64_t code,
                       std::optional<JSONObject> userInfo = std::nullopt);
    ~ZentaraClientError() override;

    [[nodiscard]] const std::string& domain() const noexcept { return domain_; }
    [[nodiscard]] std::int64_t code() const noexcept { return code_; }
    [[nodiscard]] const JSONObject& userInfo() const noexcept { return userInfo_; }

    /// The message for people; empty when `userInfo()` holds none.
    [[nodiscard]] const std::string& localizedDescription() const noexcept { return description_; }

    /// The same message, valid as long as this object.
    [[nodiscard]] const char* what() const noexcept override;

  protected:
    ZentaraClientError(EventErrorCode code, const std::string& message);

  private:
    std::string domain_;
    std::int64_t code_;
    JSONObject userInfo_;
    std::string description_;
};

/// An error that several owners share; null stands for success.
using ZentaraClientErrorRef = std::shared_ptr<const ZentaraClientError>;

/// An event was sent before `ZentaraClient::useSettings`.
class ZENTARA_EXPORT ZentaraClientNotInitializedError final : public ZentaraClientError {
  public:
    ZentaraClientNotInitializedError();
};

/// An event was sent before the schemas had arrived. The detail says what became of it.
class ZENTARA_EXPORT ZentaraClientNotReady final : public ZentaraClientError {
  public:
    explicit ZentaraClientNotReady(const std::string& detail);
};

/// An event's properties do not satisfy its schema. The detail lists every message.
class ZENTARA_EXPORT InvalidDataForSpecifiedSchemaError final : public ZentaraClientError {
  public:
    explicit InvalidDataForSpecifiedSchemaError(const std::string& detail);
};

/// An event could not be validated, for example because its schema is not known.
class ZENTARA_EXPORT UnknownError final : public ZentaraClientError {
  public:
    UnknownError();
};

/// A valid event could not be stored.
class ZENTARA_EXPORT EventNotQueuedError final : public ZentaraClientError {
  public:
    EventNotQueuedError();
};

/// An event was sent while the user's consent is denied.
class ZENTARA_EXPORT ConsentDeniedError final : public ZentaraClientError {
  public:
    ConsentDeniedError();
};

/// The function of `ZentaraClient::setBeforeQueue` has dropped an event.
class ZENTARA_EXPORT EventDroppedError final : public ZentaraClientError {
  public:
    EventDroppedError();
};

/// The function of `ZentaraClient::setBeforeQueue` has thrown. The detail is what it threw.
class ZENTARA_EXPORT BeforeQueueError final : public ZentaraClientError {
  public:
    explicit BeforeQueueError(const std::string& detail);
};

/// An event was sent after `ZentaraClient::shutdown`.
class ZENTARA_EXPORT ClientShutDownError final : public ZentaraClientError {
  public:
    ClientShutDownError();
};

/// The schemas could not be obtained; delivered to the ready callback.
class ZENTARA_EXPORT SchemasInitializationError final : public ZentaraClientError {
  public:
    SchemasInitializationError();
};

/// Thrown when the library is used before `ZentaraClient::useSettings`. The only failure of the
/// library that is thrown.
struct ZENTARA_EXPORT ZentaraClientNotConfiguredError final : std::exception {
    [[nodiscard]] const char* what() const noexcept override;
};

}  // namespace zentara
