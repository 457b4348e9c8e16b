#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string_view>
#include <utility>

#include "json/JSONValue.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"

namespace zentara {

/// The application's preferences: small values under string keys, kept in memory and in the file
/// "user-defaults.json" of the preferences directory, replaced atomically. The file is read once. A
/// damaged file is set aside under another name and the store starts empty. Only one process
/// writes the file; a second process on the same directory keeps its values in memory. Safe for use
/// from any thread.
class UserDefaults {
  public:
    /// The preferences of the directory that `HostApplication` names at this moment. Never
    /// destroyed: threads of the library may ask while the process ends.
    [[nodiscard]] static UserDefaults& current();

    /// The preferences of `directory`; without one they live in memory only.
    explicit UserDefaults(const std::optional<std::filesystem::path>& directory);

    /// The integers under two keys, read in one step; 0 when there is none. An unsigned value
    /// beyond the signed 64-bit range reads as the same bits, hence as negative.
    [[nodiscard]] std::pair<std::int64_t, std::int64_t> integers(std::string_view first,
                                                                 std::string_view second) const;

    /// Stores `values` under their keys in one step, in memory and on disk. A file that cannot be
    /// written costs persistence only.
    void set(const JSONObject& values);

  private:
    void write() ZENTARA_REQUIRES(mutex_);

    FailureReporter failures_{Component::storage, "user-defaults.json"};  // synchronises itself
    mutable Mutex mutex_;
    // Nothing when the file is not to be written.
    std::optional<std::filesystem::path> file_ ZENTARA_GUARDED_BY(mutex_);
    bool hasClaimed_ ZENTARA_GUARDED_BY(mutex_) = false;
    JSONObject values_ ZENTARA_GUARDED_BY(mutex_);
};

}  // namespace zentara
