#pragma once

#include <optional>
#include <string>

namespace zentara::collector {

/// What the collector tells an application about its anonymous user.
struct Identity {
    std::string value;        ///< "qvn_uid"
    std::string publicValue;  ///< "qvn_uid_public"
    std::string session;      ///< "hsid"
};

/// Whether `value` looks like a token that a collector has issued and can be renewed.
[[nodiscard]] bool isIdentityValue(const std::string& value);

/// A new identity, or the one whose value is `known`, with a new session either way.
///
/// The public value is derived from the value, so a renewed identity is the same one without
/// anything having been kept, also by a collector that was started again in between.
[[nodiscard]] Identity issueIdentity(const std::optional<std::string>& known);

}  // namespace zentara::collector
