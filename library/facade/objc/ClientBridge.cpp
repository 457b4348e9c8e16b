#include <memory>
#include <utility>

#include <zentara/ZentaraClient.h>
#include "facade/ZentaraClientAccess.h"
#include "facade/objc/Handles.h"

using namespace zentara;

struct ZentaraClientHandle {
    /// Owns the client only. The pointer that is shared may own a keeper as well, and through it
    /// this handle.
    std::shared_ptr<ZentaraClient> client;
};

namespace {

using Held = std::shared_ptr<void>;

/// Releases the object with its last copy.
Held held(ZentaraHeld object) {
    if (object.object == nullptr) return nullptr;
    return {object.object, object.release};
}

ZentaraClientHandle* handle(const std::shared_ptr<ZentaraClient>& client) {
    if (!client) return nullptr;
    return std::make_unique<ZentaraClientHandle>(ZentaraClientHandle{client->shared_from_this()})
        .release();
}

ZentaraClient::SendHandler handler(void* context, ZentaraSendCall call) {
    if (call == nullptr) return nullptr;
    return [context, call](const EventRef& event, const ZentaraClientErrorRef& error) {
        const ZentaraEvent bridgedEvent{event};
        const ZentaraError bridgedError{error};
        call(context, &bridgedEvent, error ? &bridgedError : nullptr);
    };
}

/// A pointer to the client that also owns `keeper`.
std::shared_ptr<ZentaraClient> keptBy(ZentaraHeld keeper,
                                      const std::shared_ptr<ZentaraClient>& client) {
    return {held(keeper), client.get()};
}

/// Whether the operation was carried out: it throws before the settings are there.
template <typename Operation>
bool ifConfigured(const Operation& operation) {
    try {
        operation();
        return true;
    } catch (const ZentaraClientNotConfiguredError&) {
        return false;
    }
}

}  // namespace

ZentaraClientHandle* zentaraMakePlainClient() noexcept {
    return handle(ZentaraClientAccess::makePlain());
}

ZentaraClientHandle* zentaraKeepClient(const ZentaraClientHandle* client) noexcept {
    return std::make_unique<ZentaraClientHandle>(*client).release();
}

void zentaraReleaseClient(ZentaraClientHandle* client) noexcept {
    delete client;
}

const void* zentaraClientIdentity(const ZentaraClientHandle* client) noexcept {
    return client->client.get();
}

ZentaraClientHandle* zentaraSharedClient() noexcept {
    return handle(ZentaraClient::sharedClient());
}

void zentaraSetSharedClient(const ZentaraClientHandle* client, ZentaraHeld keeper) noexcept {
    ZentaraClient::setSharedClient(client == nullptr ? nullptr : keptBy(keeper, client->client));
}

bool zentaraIsSharedWithoutKeeper(const ZentaraClientHandle* client) noexcept {
    const auto shared = ZentaraClient::sharedClient();
    return shared == client->client && !shared.owner_before(client->client) &&
           !client->client.owner_before(shared);
}

void zentaraKeepWhileShared(const ZentaraClientHandle* client, ZentaraHeld keeper) noexcept {
    ZentaraClientAccess::holdSharedClient(keptBy(keeper, client->client));
}

bool zentaraIsConfigured() noexcept {
    return ClientSettings::current() != nullptr;
}

bool zentaraUseSettings(ZentaraText tenant, int64_t environment,
                        ZentaraText advertisingId) noexcept {
    const auto known = zentaraEnvironment(environment);
    if (!known) return false;
    ZentaraClient::useSettings(string(tenant), *known, optionalString(advertisingId));
    return true;
}

ZentaraClientHandle* zentaraGetClient(ZentaraHeld block, ZentaraReadyCall call) noexcept {
    ZentaraClient::ReadyCallback callback;
    if (auto ready = held(block)) {
        callback = [ready = std::move(ready), call](const ZentaraClientErrorRef& error) {
            const ZentaraError bridgedError{error};
            call(ready.get(), error ? &bridgedError : nullptr);
        };
    }
    ZentaraClientHandle* client = nullptr;
    ifConfigured([&] { client = handle(ZentaraClient::get(std::move(callback))); });
    return client;
}

bool zentaraIsTokenType(int64_t tokenType) noexcept {
    return userTokenType(tokenType).has_value();
}

bool zentaraSetLoggedUser(int64_t tokenType, ZentaraText token) noexcept {
    return ifConfigured([&] {
        ZentaraClient::setLoggedUser(static_cast<UserTokenType>(tokenType), string(token));
    });
}

bool zentaraRemoveLoggedUser() noexcept {
    return ifConfigured([] { ZentaraClient::removeLoggedUser(); });
}

bool zentaraGetAnonymousUser(const ZentaraClientHandle* client, ZentaraHeld block,
                             ZentaraAnonymousUserCall call) noexcept {
    ZentaraClient::AnonymousUserCallback callback;
    if (auto user = held(block)) {
        callback = [user = std::move(user), call](const std::string& type, const std::string& value,
                                                  const std::optional<std::string>& publicValue) {
            call(user.get(), bridged(type), bridged(value),
                 publicValue ? bridged(*publicValue) : ZentaraText{});
        };
    }
    return ifConfigured([&] { client->client->getAnonymousUser(callback); });
}

bool zentaraGetHsid(const ZentaraClientHandle* client, ZentaraHeld block,
                    ZentaraHsidCall call) noexcept {
    ZentaraClient::HsidCallback callback;
    if (auto hsid = held(block)) {
        callback = [hsid = std::move(hsid), call](const std::string& value) {
            call(hsid.get(), bridged(value));
        };
    }
    return ifConfigured([&] { client->client->getHsid(std::move(callback)); });
}

void zentaraSend(const ZentaraClientHandle* client, const ZentaraEventTexts* texts,
                 ZentaraBuilder* properties, void* context, ZentaraSendCall call) noexcept {
    client->client->send(string(texts->schemaId), string(texts->schemaVersion),
                         string(texts->contentType), string(texts->url), string(texts->referer),
                         ZentaraBuilder::finish(properties), optionalString(texts->relationId),
                         handler(context, call));
}

void zentaraSendEvent(const ZentaraClientHandle* client, const ZentaraEvent* event,
                      ZentaraText relationId, void* context, ZentaraSendCall call) noexcept {
    client->client->send(std::vector{event->event}, optionalString(relationId),
                         handler(context, call));
}

ZentaraError* zentaraRefuseEvent(const ZentaraClientHandle* client, ZentaraText schemaId) noexcept {
    ZentaraError error{ZentaraClientAccess::refuse(*client->client, string(schemaId))};
    return std::make_unique<ZentaraError>(std::move(error)).release();
}

void zentaraPerformFetch(const ZentaraClientHandle* client, ZentaraHeld block,
                         ZentaraFetchCall call) noexcept {
    ZentaraClient::FetchCallback callback;
    if (auto fetch = held(block)) {
        callback = [fetch = std::move(fetch), call](BackgroundFetchResult result) {
            call(fetch.get(), static_cast<std::uint64_t>(result));
        };
    }
    client->client->performFetch(std::move(callback));
}
