#pragma once

#include <cstdint>

#include <zentara/Language.h>

namespace zentara {

/// What the user allows. Kept on disk, per documents directory.
enum class Consent : std::int64_t {
    granted = 0,  ///< events are delivered; the state before the host has said anything
    /// Events are queued. No request of any kind is made, also not for schemas or an identity.
    pending = 1,
    /// Everything that was stored of the user is removed, events are refused, no request is made.
    denied = 2,
};

}  // namespace zentara
