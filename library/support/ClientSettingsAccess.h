#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include <zentara/ClientSettings.h>

namespace zentara {

/// Returns the settings in force at the moment of use; null means not configured.
using SettingsSource = std::function<std::shared_ptr<const ClientSettings>()>;

/// Writes the settings of the process. Any thread.
struct ClientSettingsAccess {
    /// Puts `settings` in force; null makes the library unconfigured again.
    static void setCurrent(std::shared_ptr<const ClientSettings> settings);

    /// Makes the library unconfigured until `resume` or `setCurrent`.
    static void suspend();
    /// Puts the settings in force that were suspended, if there are any.
    static void resume();

    /// Changes the advertising id of the record in force. False when there is none.
    [[nodiscard]] static bool setAdvertisingId(std::optional<std::string> advertisingId);
};

}  // namespace zentara
