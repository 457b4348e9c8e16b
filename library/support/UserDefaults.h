#pragma once

#include <cstdint>
#include <string_view>
#include <utility>

namespace zentara {

/// A handle on the application's preferences: small values under string keys, kept in memory and
/// in the file "user-defaults.json" of the preferences directory, replaced atomically. All handles
/// on one directory share what is stored; its file is read once. A damaged file is set
/// aside under another name and the store starts empty. Only one process writes the file; a second
/// process on the same directory keeps its values in memory. A cheap, copyable value, safe for use
/// from any thread.
class UserDefaults {
  public:
    /// A handle on the preferences of the directory that `HostApplication` names at this moment.
    UserDefaults();

    /// The integer under `key`; 0 when there is none. An unsigned value beyond the
    /// signed 64-bit range reads as the same bits, hence as negative.
    [[nodiscard]] std::int64_t integer(std::string_view key) const;
    /// Both integers, read in one step.
    [[nodiscard]] std::pair<std::int64_t, std::int64_t> integers(std::string_view first,
                                                                 std::string_view second) const;

    /// Stores a number under `key`. A file that cannot be written costs persistence only.
    void set(std::string_view key, std::int64_t value);
    void set(std::string_view key, std::uint64_t value);
    /// Stores two numbers in one step, in memory and on disk.
    void set(std::string_view first, std::int64_t firstValue, std::string_view second,
             std::uint64_t secondValue);

  private:
    class Store;
    class Stores;

    Store* store_;  // lives until the process ends
};

}  // namespace zentara
