#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include <zentara/ZentaraClient.h>
#include "facade/ZentaraClientAccess.h"
#include "facade/objc/Handles.h"
#include "support/Diagnostics.h"
#include "support/WorkLimits.h"

using namespace zentara;

struct ZentaraClientHandle {
    /// Owns the client only. The shared pointer may own a keeper too, and with it this handle.
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

ZentaraClient::SendHandler handler(void* context) {
    return [context](const EventRef& event, const ZentaraClientErrorRef& error) {
        const ZentaraEvent bridgedEvent{event};
        const ZentaraError bridgedError{error};
        zentaraCallSend(context, &bridgedEvent, error ? &bridgedError : nullptr);
    };
}

/// A callback that calls `call` with the block; null without a block.
template <typename Callback, typename Call>
Callback calling(ZentaraHeld block, const Call& call) {
    if (block.object == nullptr) return nullptr;
    return [block = held(block), call](const auto&... values) {
        call(block.get(), values...);
    };
}

/// A pointer to the client that also owns `keeper`.
std::shared_ptr<ZentaraClient> keptBy(ZentaraHeld keeper,
                                      const std::shared_ptr<ZentaraClient>& client) {
    return {held(keeper), client.get()};
}

/// False if the operation throws because the settings are not there yet.
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

void zentaraKeepWhileShared(const ZentaraClientHandle* client, ZentaraHeld keeper) noexcept {
    const auto holder = keptBy(keeper, client->client);
    const auto shared = ZentaraClient::sharedClient();
    // A pointer with a keeper has another owner than the client.
    const bool hasKeeper =
        shared.owner_before(client->client) || client->client.owner_before(shared);
    if (shared == holder && !hasKeeper) ZentaraClientAccess::holdSharedClient(holder);
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

ZentaraClientHandle* zentaraGetClient(ZentaraHeld block) noexcept {
    auto callback = calling<ZentaraClient::ReadyCallback>(
        block, [](void* ready, const ZentaraClientErrorRef& error) {
            const ZentaraError bridgedError{error};
            zentaraCallReady(ready, error ? &bridgedError : nullptr);
        });
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

bool zentaraGetAnonymousUser(const ZentaraClientHandle* client, ZentaraHeld block) noexcept {
    const auto callback = calling<ZentaraClient::AnonymousUserCallback>(
        block, [](void* user, const std::string& type, const std::string& value,
                  const std::optional<std::string>& publicValue) {
            zentaraCallAnonymousUser(user, bridged(type), bridged(value),
                                     optionalBridged(publicValue));
        });
    return ifConfigured([&] { client->client->getAnonymousUser(callback); });
}

bool zentaraGetHsid(const ZentaraClientHandle* client, ZentaraHeld block) noexcept {
    auto callback = calling<ZentaraClient::HsidCallback>(
        block, [](void* hsid, const std::string& value) { zentaraCallHsid(hsid, bridged(value)); });
    return ifConfigured([&] { client->client->getHsid(std::move(callback)); });
}

void zentaraSend(const ZentaraClientHandle* client, const ZentaraEventTexts* texts,
                 ZentaraBuilder* properties, void* context) noexcept {
    client->client->send(string(texts->schemaId), string(texts->schemaVersion),
                         string(texts->contentType), string(texts->url), string(texts->referer),
                         ZentaraBuilder::finish(properties), optionalString(texts->relationId),
                         handler(context));
}

void zentaraSendEvent(const ZentaraClientHandle* client, const ZentaraEvent* event,
                      ZentaraText relationId, void* context) noexcept {
    client->client->send(std::vector{event->event}, optionalString(relationId), handler(context));
}

ZentaraError* zentaraRefuseEvent(const ZentaraClientHandle* client, ZentaraText schemaId) noexcept {
    ZentaraError error{ZentaraClientAccess::refuse(*client->client, string(schemaId))};
    return std::make_unique<ZentaraError>(std::move(error)).release();
}

void zentaraPerformFetch(const ZentaraClientHandle* client, ZentaraHeld block) noexcept {
    client->client->performFetch(
        calling<ZentaraClient::FetchCallback>(block, [](void* fetch, BackgroundFetchResult result) {
            zentaraCallFetch(fetch, static_cast<std::uint64_t>(result));
        }));
}

void zentaraFatalError(const char* cause) noexcept {
    fatalError(cause);
}

void zentaraWarn(ZentaraText line) noexcept {
    auto text = string(line);
    // The description of an object of the application may have several lines.
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return character < ' '; }, ' ');
    printWarning(text);
}

size_t zentaraStackLeft() noexcept {
    return remainingStackSpace();
}

void zentaraUseEndpoints(ZentaraEndpointTexts texts) noexcept {
    auto endpoints = ZentaraEndpoints::current();
    const auto replace = [](std::string& value, ZentaraText text) {
        if (text.bytes != nullptr) value = string(text);
    };
    replace(endpoints.productionCollector, texts.productionCollector);
    replace(endpoints.qaCollector, texts.qaCollector);
    replace(endpoints.productionSchemas, texts.productionSchemas);
    replace(endpoints.qaSchemas, texts.qaSchemas);
    replace(endpoints.certificateAuthorityFile, texts.certificateAuthorityFile);
    ZentaraEndpoints::use(endpoints);
}

void zentaraSetBundleIdentifier(ZentaraText identifier) noexcept {
    HostApplication::setBundleIdentifier(string(identifier));
}

void zentaraSetDocumentsDirectory(ZentaraText path) noexcept {
    HostApplication::setDocumentsDirectory(string(path));
}

void zentaraSetPreferencesDirectory(ZentaraText path) noexcept {
    HostApplication::setPreferencesDirectory(string(path));
}

void zentaraReadStatistics(void* object) noexcept {
    const auto all = ZentaraClient::statistics();
    ZentaraStatistics statistics{};
#define COPY_COUNT(name) statistics.name = all.name;
#define COPY_FAILURE(name) \
    statistics.name = {bridged(all.name.text), all.name.time, all.name.inARow};
    ZENTARA_EACH_COUNT(COPY_COUNT)
    ZENTARA_EACH_FAILURE(COPY_FAILURE)
    zentaraCopyStatistics(object, &statistics);
}
