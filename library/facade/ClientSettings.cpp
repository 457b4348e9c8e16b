#include "facade/ClientSettings.h"

#include <utility>

#include "facade/ClientSettingsAccess.h"
#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

namespace {

struct SettingsRecord {
    Mutex mutex;
    std::shared_ptr<const ClientSettings> settings ZENTARA_GUARDED_BY(mutex);
};

SettingsRecord& record() {
    static NoDestructor<SettingsRecord> instance;
    return *instance;
}

}  // namespace

std::optional<ZentaraEnvironment> zentaraEnvironment(std::int64_t rawValue) noexcept {
    if (rawValue < 0 || rawValue > 1) return std::nullopt;
    return static_cast<ZentaraEnvironment>(rawValue);
}

std::optional<UserTokenType> userTokenType(std::int64_t rawValue) noexcept {
    if (rawValue < 0 || rawValue > 2) return std::nullopt;
    return static_cast<UserTokenType>(rawValue);
}

std::string userTokenTypeName(UserTokenType type) {
    switch (type) {
        case UserTokenType::qvnId:
            return "QVNID";
        case UserTokenType::guest:
            return "GST";
        case UserTokenType::externalId:
            return "EXT_ID";
    }
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
