#include "support/UserDefaults.h"

#include <filesystem>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include "json/JSONText.h"

#include "json/JSONValue.h"
#include "platform/FileSystem.h"
#include "platform/HostApplication.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

using Path = std::filesystem::path;

}  // namespace

/// The preferences of one directory.
class UserDefaults::Store {
  public:
    /// Reads the directory's file. Without a directory the values live in memory only.
    explicit Store(const std::optional<Path>& directory) {
        if (!directory) return;
        const Path file = *directory / "user-defaults.json";
        const auto contents = systemFiles().read(file);
        Status status = contents.status();
        if (isMissing(status)) {
            file_ = file;
            return;
        }
        if (contents.ok()) {
            auto value = parseJSONValue(*contents);
            if (value.ok() && value->isObject()) {
                values_ = std::move(value->object());
                file_ = file;
                return;
            }
            status = std::make_shared<PlatformError>(PlatformError::Domain::json, 0, "is damaged");
        }
        // What cannot be read for the moment, or set aside, is not written over.
        const bool isDamaged = contents.ok() || isUnfit(status);
        failures_.report(status);
        if (!isDamaged) return;
        const Status moved = setAside(file);
        if (moved.ok()) {
            file_ = file;
        } else {
            failures_.report(moved);
        }
    }

    Store(const Store&) = delete;
    Store& operator=(const Store&) = delete;

    [[nodiscard]] std::int64_t integer(std::string_view key) {
        const MutexLock lock(mutex_);
        return find(key);
    }

    [[nodiscard]] std::pair<std::int64_t, std::int64_t> integers(std::string_view first,
                                                                 std::string_view second) {
        const MutexLock lock(mutex_);
        return {find(first), find(second)};
    }

    void set(std::initializer_list<std::pair<std::string_view, JSONValue>> entries) {
        const MutexLock lock(mutex_);
        bool hasChanged = false;
        for (const auto& [key, value] : entries) {
            JSONValue& slot = values_[key];
            if (slot == value) continue;
            slot = value;
            hasChanged = true;
        }
        if (hasChanged) write();
    }

  private:
    [[nodiscard]] std::int64_t find(std::string_view key) const ZENTARA_REQUIRES(mutex_) {
        const JSONValue* const value = values_.find(key);
        if (value == nullptr) return 0;
        if (const auto number = value->ifInteger()) return *number;
        if (const auto number = value->ifUnsignedInteger())
            return static_cast<std::int64_t>(*number);
        return 0;
    }

    void write() ZENTARA_REQUIRES(mutex_) {
        // Asked now, since reading alone must make no files.
        if (file_ && !std::exchange(hasAsked_, true) &&
            systemFiles().claim(file_->parent_path()) == FolderClaim::heldElsewhere) {
            file_.reset();
        }
        if (file_) {
            // The value holds for this process all the same.
            failures_.report(systemFiles().writeAtomically(*file_, JSONValue(values_).text()));
        }
    }

    /// Keeps a file that cannot be read, for a person. If even that fails, nothing is written over
    /// it.
    [[nodiscard]] static Status setAside(const Path& file) {
        Path aside = file;
        aside += ".damaged";
        for (int number = 2; systemFiles().state(aside); ++number) {
            aside = file;
            aside += ".damaged-" + std::to_string(number);
        }
        return systemFiles().rename(file, aside);
    }

    FailureReporter failures_{Component::storage, "user-defaults.json"};  // synchronises itself
    Mutex mutex_;
    std::optional<Path> file_ ZENTARA_GUARDED_BY(mutex_);
    bool hasAsked_ ZENTARA_GUARDED_BY(mutex_) = false;
    JSONObject values_ ZENTARA_GUARDED_BY(mutex_);
};

/// The stores of all directories that were current at some time. Never destroyed: threads of the
/// library may ask while the process ends.
class UserDefaults::Stores {
  public:
    [[nodiscard]] static Store* of(const std::optional<Path>& directory) {
        static NoDestructor<Stores> stores;
        const MutexLock lock(stores->mutex_);
        auto& store = stores->stores_[directory.value_or(Path()).lexically_normal()];
        if (!store) store = std::make_unique<Store>(directory);
        return store.get();
    }

  private:
    Mutex mutex_;
    std::map<Path, std::unique_ptr<Store>> stores_ ZENTARA_GUARDED_BY(mutex_);
};

UserDefaults::UserDefaults() : store_(Stores::of(HostApplication::preferencesDirectory())) {}

std::int64_t UserDefaults::integer(std::string_view key) const {
    return store_->integer(key);
}

std::pair<std::int64_t, std::int64_t> UserDefaults::integers(std::string_view first,
                                                             std::string_view second) const {
    return store_->integers(first, second);
}

void UserDefaults::set(std::string_view key, std::int64_t value) {
    store_->set({{key, value}});
}

void UserDefaults::set(std::string_view key, std::uint64_t value) {
    store_->set({{key, value}});
}

void UserDefaults::set(std::string_view first, std::int64_t firstValue, std::string_view second,
                       std::uint64_t secondValue) {
    store_->set({{first, firstValue}, {second, secondValue}});
}

}  // namespace zentara
