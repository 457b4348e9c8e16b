#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "model/InternalEvent.h"
#include "model/JSONCodable.h"

namespace zentara {

/// One batch of events as the collector receives it. A copyable record.
struct ZentaraEnvelope {
    struct DecodingError final : Error {
        [[nodiscard]] std::string description() const override;
    };

    std::string zentaraClientUUID;
    std::string zentaraClientTenant;
    std::string zentaraClientType;
    std::string zentaraClientDeviceGroup;
    std::int64_t zentaraClientTs = 0;  ///< milliseconds since 1970-01-01 UTC
    std::vector<InternalEvent> actions;
    std::int64_t zentaraDispatchNumber = 0;
    std::int64_t zentaraActionCounter = 0;

    /// All members, the user of each action included.
    [[nodiscard]] JSONObject toDictionary() const;

    /// Fails with the error of the first action that does not decode, or with its own.
    [[nodiscard]] static Result<ZentaraEnvelope> fromDictionary(const JSONObject& dictionary);

    /// The compact JSON text to post: the same members, each action without its user. Copies the
    /// stored texts of the actions. Nothing when JSON cannot hold one of them.
    [[nodiscard]] std::optional<std::string> requestBody() const;

    friend bool operator==(const ZentaraEnvelope&, const ZentaraEnvelope&) = default;
};

}  // namespace zentara
