#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <zentara/DeliveryPolicy.h>
#include <zentara/Export.h>
#include <zentara/Language.h>
#include <zentara/Version.h>

namespace zentara {

/// Selects the collector and the schemas service.
enum class ZentaraEnvironment : std::int64_t {
    production = 0,
    qa = 1,
};

/// The kinds of token that a logged-in user can have.
enum class UserTokenType : std::int64_t {
    qvnId = 0,       ///< "QVNID"
    guest = 1,       ///< "GST"
    externalId = 2,  ///< "EXT_ID"
};

/// The value with this raw value, or nothing.
[[nodiscard]] ZENTARA_EXPORT std::optional<ZentaraEnvironment> zentaraEnvironment(
    std::int64_t rawValue) noexcept;
[[nodiscard]] ZENTARA_EXPORT std::optional<UserTokenType> userTokenType(
    std::int64_t rawValue) noexcept;

/// The name of `type` in events and cookies. A value outside the enumeration is a fatal error.
[[nodiscard]] ZENTARA_EXPORT std::string userTokenTypeName(UserTokenType type);

/// The settings that every component reads. One record per process, absent until
/// `ZentaraClient::useSettings`; its absence is what "not configured" means everywhere.
struct ZENTARA_EXPORT ClientSettings {
    std::string tenant;
    std::string clientType = "mobile";
    ZentaraEnvironment environment = ZentaraEnvironment::production;
    std::optional<std::string> advertisingId;
    std::string clientVersion = ZENTARA_VERSION;
    std::string deviceGroup = "iOS";
    std::string eventLabel = "event";     ///< path component of the collector for events
    std::string schemasPath = "schemas";  ///< path component of the schemas service
    std::string idPath = "id";            ///< path component of the collector for identities
    std::string eventsStorageName = "events-storage";
    std::string unvalidatedEventsStorageName = "unvalidated-events-storage";
    std::string schemasStorageName = "zentara-schemas-storage";
    std::string anonymousTokenStorageName = "anonymous-token-storage";
    std::int64_t dispatchBatchSize = 10;   ///< most events taken from a queue in one go
    std::int64_t maxEvents = 8000;         ///< capacity of each queue
    double dispatchInterval = 10.0;        ///< seconds between dispatches
    double schemasRefreshInterval = 10.0;  ///< seconds between attempts to fetch the schemas
    double identityRefreshInterval = 5.0;  ///< seconds between attempts to fetch an identity
    DeliveryPolicy delivery;

    /// The record in force, or null. A record never changes; a change of settings puts another in
    /// its place. Any thread.
    [[nodiscard]] static std::shared_ptr<const ClientSettings> current();
};

}  // namespace zentara
