#include "platform/UserDefaults.h"

#include <map>
#include <string>

#include "json/JSONText.h"
#include "platform/FileSystem.h"
#include "platform/HostApplication.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

using Path = std::filesystem::path;

/// Keeps a damaged file under a free name.
Status setAside(const Path& file) {
    Path aside = file;
    aside += ".damaged";
    for (int number = 2; systemFiles().state(aside); ++number) {
        aside = file;
        aside += ".damaged-" + std::to_string(number);
    }
    return systemFiles().rename(file, aside);
}

std::int64_t integerIn(const JSONObject& values, std::string_view key) {
    const JSONValue* const value = values.find(key);
    if (value == nullptr) return 0;
    if (const auto number = value->ifInteger()) return *number;
    return static_cast<std::int64_t>(value->ifUnsignedInteger().value_or(0));
}

/// The preferences of all directories that were current at some time.
struct AllDefaults {
    Mutex mutex;
    std::map<Path, UserDefaults> byDirectory ZENTARA_GUARDED_BY(mutex);
};

}  // namespace

UserDefaults& UserDefaults::current() {
    static NoDestructor<AllDefaults> all;
    const auto directory = HostApplication::preferencesDirectory();
    const MutexLock lock(all->mutex);
    const auto key = directory.value_or(Path()).lexically_normal();
    return all->byDirectory.try_emplace(key, directory).first->second;
}

UserDefaults::UserDefaults(const std::optional<Path>& directory) {
    if (!directory) return;
    const Path file = *directory / "user-defaults.json";
    const auto contents = systemFiles().read(file);
    Status status = contents.status();
    bool isDamaged = isUnfit(status);
    if (contents.ok()) {
        auto value = parseJSONValue(*contents);
        isDamaged = !value.ok() || !value->isObject();
        if (!isDamaged) values_ = std::move(value->object());
    }
    if (contents.ok() && isDamaged) status = plainError("is damaged");
    if (!status.ok() && !isMissing(status)) failures_.report(status);
    // What cannot be read for the moment, or set aside, is not written over.
    if (isDamaged) {
        status = setAside(file);
        if (!status.ok()) failures_.report(status);
    }
    if (status.ok() || isMissing(status)) file_ = file;
}

std::pair<std::int64_t, std::int64_t> UserDefaults::integers(std::string_view first,
                                                             std::string_view second) const {
    const MutexLock lock(mutex_);
    return {integerIn(values_, first), integerIn(values_, second)};
}

void UserDefaults::set(const JSONObject& values) {
    const MutexLock lock(mutex_);
    bool hasChanged = false;
    for (const auto& [key, value] : values) {
        JSONValue& slot = values_[key];
        if (slot == value) continue;
        slot = value;
        hasChanged = true;
    }
    if (hasChanged) write();
}

void UserDefaults::write() {
    // Claimed now, since reading alone must make no files.
    if (file_ && !std::exchange(hasClaimed_, true) &&
        systemFiles().claim(file_->parent_path()) == FolderClaim::heldElsewhere) {
        file_.reset();
    }
    if (!file_) return;
    // The value holds for this process all the same.
    failures_.report(systemFiles().writeAtomically(*file_, JSONValue(values_).text()));
}

}  // namespace zentara
