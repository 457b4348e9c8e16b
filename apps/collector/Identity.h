#pragma once

#include <optional>
#include <string>

namespace zentara::collector {

/// The identity that the collector issues to an application.
struct Identity {
    std::string value;        ///< "qvn_uid"
    std::string publicValue;  ///< "qvn_uid_public"
    std::string session;      ///< "hsid"
};

/// Whether `value` has the form of a token that a collector has issued.
[[nodiscard]] bool isIdentityValue(const std::string& value);

/// A new identity, or the identity with the value `known`. The session is always new.
///
/// The public value is derived from the value, so an identity can be renewed without storage, even
/// by a collector that was restarted.
[[nodiscard]] Identity issueIdentity(const std::optional<std::string>& known);

}  // namespace zentara::collector
