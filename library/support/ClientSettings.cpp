#include "support/ClientSettings.h"

#include <utility>

#include "support/ClientSettingsAccess.h"
#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

namespace {

struct SettingsRecord {
    Mutex mutex;
    std::shared_ptr<const ClientSettings> settings ZENTARA_GUARDED_BY(mutex);
    std::shared_ptr<const ClientSettings> suspended ZENTARA_GUARDED_BY(mutex);
};

SettingsRecord& record() {
    static NoDestructor<SettingsRecord> instance;
    return *instance;
}

/// The kinds of token and their names. Null for another value.
const char* nameOf(UserTokenType type) noexcept {
    switch (type) {
        case UserTokenType::qvnId:
            return "QVNID";
        case UserTokenType::guest:
            return "GST";
        case UserTokenType::externalId:
            return "EXT_ID";
    }
    return nullptr;
}

}  // namespace

std::optional<ZentaraEnvironment> zentaraEnvironment(std::int64_t rawValue) noexcept {
    const auto environment = static_cast<ZentaraEnvironment>(rawValue);
    switch (environment) {
        case ZentaraEnvironment::production:
        case ZentaraEnvironment::qa:
            return environment;
    }
    return std::nullopt;
}

std::optional<UserTokenType> userTokenType(std::int64_t rawValue) noexcept {
    const auto type = static_cast<UserTokenType>(rawValue);
    return nameOf(type) == nullptr ? std::nullopt : std::optional(type);
}

std::string userTokenTypeName(UserTokenType type) {
    if (const char* const name = nameOf(type)) return name;
    fatalError("a logged user has a token type without a name: " +
               std::to_string(static_cast<std::int64_t>(type)));
}

std::shared_ptr<const ClientSettings> ClientSettings::current() {
    const MutexLock lock(record().mutex);
    return record().settings;
}

void ClientSettingsAccess::setCurrent(std::shared_ptr<const ClientSettings> settings) {
    const MutexLock lock(record().mutex);
    record().settings = std::move(settings);
    record().suspended = nullptr;
}

void ClientSettingsAccess::suspend() {
    const MutexLock lock(record().mutex);
    if (record().settings) record().suspended.swap(record().settings);
    record().settings = nullptr;
}

void ClientSettingsAccess::resume() {
    const MutexLock lock(record().mutex);
    if (record().suspended) record().settings.swap(record().suspended);
    record().suspended = nullptr;
}

bool ClientSettingsAccess::setAdvertisingId(std::optional<std::string> advertisingId) {
    const MutexLock lock(record().mutex);
    if (!record().settings) return false;
    auto changed = std::make_shared<ClientSettings>(*record().settings);
    changed->advertisingId = std::move(advertisingId);
    record().settings = std::move(changed);
    return true;
}

}  // namespace zentara
