#include "facade/objc/Bridge.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <zentara/ZentaraClient.h>
#include "facade/ZentaraClientAccess.h"
#include "json/JSONText.h"
#include "model/EventAccess.h"
#include "support/Diagnostics.h"
#include "support/WorkLimits.h"

using namespace zentara;

using Kind = JSONValue::Kind;

static_assert(static_cast<int>(Kind::null) == zentaraNullValue &&
                  static_cast<int>(Kind::boolean) == zentaraBooleanValue &&
                  static_cast<int>(Kind::integer) == zentaraSignedValue &&
                  static_cast<int>(Kind::unsignedInteger) == zentaraUnsignedValue &&
                  static_cast<int>(Kind::number) == zentaraDoubleValue &&
                  static_cast<int>(Kind::string) == zentaraTextValue &&
                  static_cast<int>(Kind::array) == zentaraArrayValue &&
                  static_cast<int>(Kind::object) == zentaraObjectValue,
              "the kinds of the bridge are those of JSONValue");

struct ZentaraBuilder {
    /// The finished object; the empty object for null. Takes `builder` over.
    [[nodiscard]] static JSONObject finish(ZentaraBuilder* builder) {
        if (builder == nullptr) return {};
        const std::unique_ptr<ZentaraBuilder> owned(builder);
        return std::move(owned->values.back().object());
    }

    /// Values outside of any container so far. A key is a text before its value.
    std::vector<JSONValue> values;
};

struct ZentaraError {
    ZentaraClientErrorRef error;
};

struct ZentaraEvent {
    EventRef event;
};

struct ZentaraClientHandle {
    /// Owns the client only. The shared pointer may own a keeper too, and with it this handle.
    std::shared_ptr<ZentaraClient> client;
};

namespace {

/// The text, empty when it is absent.
std::string string(ZentaraText text) {
    return text.bytes == nullptr ? std::string() : std::string(text.bytes, text.length);
}

std::optional<std::string> optionalString(ZentaraText text) {
    if (text.bytes == nullptr) return std::nullopt;
    return std::string(text.bytes, text.length);
}

/// Valid as long as `text`.
ZentaraText bridged(std::string_view text) noexcept {
    return {text.data(), text.size()};
}

ZentaraText optionalBridged(const std::optional<std::string>& text) noexcept {
    return text ? bridged(*text) : ZentaraText{};
}

// `ZentaraValue` is never defined: a pointer to it is always a pointer to a `JSONValue`.

const ZentaraValue* handleOf(const JSONValue& value) noexcept {
    return reinterpret_cast<const ZentaraValue*>(&value);
}
const JSONValue& valueOf(const ZentaraValue* value) noexcept {
    return *reinterpret_cast<const JSONValue*>(value);
}

ZentaraClientErrorRef makeError(ZentaraErrorKind kind, const std::string& detail) {
#define MAKE_PLAIN(name) \
    if (kind == zentaraKindOf##name) return std::make_shared<name>();
#define MAKE_DETAILED(name) \
    if (kind == zentaraKindOf##name) return std::make_shared<name>(detail);
    ZENTARA_EACH_PLAIN_ERROR(MAKE_PLAIN)
    ZENTARA_EACH_DETAILED_ERROR(MAKE_DETAILED)
    return nullptr;
}

ZentaraErrorKind kindOf(const ZentaraClientError& error) {
#define FIND_KIND(name) \
    if (dynamic_cast<const name*>(&error) != nullptr) return zentaraKindOf##name;
    ZENTARA_EACH_PLAIN_ERROR(FIND_KIND)
    ZENTARA_EACH_DETAILED_ERROR(FIND_KIND)
    return zentaraOtherError;
}

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

// Values, events and errors.

ZentaraError* zentaraMakeError(ZentaraErrorKind kind, ZentaraText detail) noexcept {
    return std::make_unique<ZentaraError>(ZentaraError{makeError(kind, string(detail))}).release();
}

void zentaraReleaseError(ZentaraError* error) noexcept {
    delete error;
}

ZentaraErrorView zentaraViewError(const ZentaraError* error) noexcept {
    const auto& values = *error->error;
    return {kindOf(values), bridged(values.domain()), values.code(),
            bridged(values.localizedDescription())};
}

ZentaraEvent* zentaraMakeEvent(const ZentaraEventTexts* texts,
                               ZentaraBuilder* properties) noexcept {
    ZentaraEvent event{ZentaraClient::createEvent(
        string(texts->schemaId), string(texts->schemaVersion), string(texts->contentType),
        string(texts->url), string(texts->referer), ZentaraBuilder::finish(properties),
        optionalString(texts->relationId))};
    return std::make_unique<ZentaraEvent>(std::move(event)).release();
}

ZentaraEvent* zentaraKeepEvent(const ZentaraEvent* event) noexcept {
    return std::make_unique<ZentaraEvent>(*event).release();
}

void zentaraReleaseEvent(ZentaraEvent* event) noexcept {
    delete event;
}

ZentaraEventTexts zentaraEventTexts(const ZentaraEvent* event) noexcept {
    if (event == nullptr) return {};
    const auto& values = *event->event;
    return {bridged(values.schemaId()),         bridged(values.schemaVersion()),
            bridged(values.contentType()),      bridged(values.url().string()),
            bridged(values.referer().string()), optionalBridged(values.relationId())};
}

const ZentaraValue* zentaraEventProperties(const ZentaraEvent* event) noexcept {
    return handleOf(*EventAccess::values(*event->event).properties);
}

ZentaraValueView zentaraViewValue(const ZentaraValue* value) noexcept {
    const auto& json = valueOf(value);
    ZentaraValueView view{};
    view.kind = static_cast<ZentaraValueKind>(json.kind());
    const auto kind = json.kind();
    if (kind == Kind::boolean) view.boolean = json.boolean();
    if (kind == Kind::integer) view.signedInteger = json.integer();
    if (kind == Kind::unsignedInteger) view.unsignedInteger = json.unsignedInteger();
    if (kind == Kind::number) view.real = json.number();
    if (kind == Kind::string) view.text = bridged(json.string());
    if (kind == Kind::array) view.count = json.array().size();
    if (kind == Kind::object) view.count = json.object().size();
    return view;
}

const ZentaraValue* zentaraElement(const ZentaraValue* array, size_t index) noexcept {
    return handleOf(valueOf(array).array()[index]);
}

const ZentaraValue* zentaraMember(const ZentaraValue* object, size_t index,
                                  ZentaraText* key) noexcept {
    const auto& member = valueOf(object).object().begin()[static_cast<std::ptrdiff_t>(index)];
    *key = bridged(member.key());
    return handleOf(member.value());
}

ZentaraBuilder* zentaraMakeBuilder() noexcept {
    return std::make_unique<ZentaraBuilder>().release();
}

void zentaraDiscardBuilder(ZentaraBuilder* builder) noexcept {
    delete builder;
}

void zentaraAdd(ZentaraBuilder* builder, ZentaraValueView scalar) noexcept {
    auto& value = builder->values.emplace_back();
    if (scalar.kind == zentaraBooleanValue) value = scalar.boolean;
    if (scalar.kind == zentaraSignedValue) value = scalar.signedInteger;
    if (scalar.kind == zentaraUnsignedValue) value = scalar.unsignedInteger;
    if (scalar.kind == zentaraDoubleValue) value = scalar.real;
    if (scalar.kind == zentaraTextValue) {
        value = std::string_view(scalar.text.bytes, scalar.text.length);
    }
}

void zentaraEndArray(ZentaraBuilder* builder, size_t count) noexcept {
    auto& values = builder->values;
    JSONArray array;
    array.reserve(count);
    const auto first = values.end() - static_cast<std::ptrdiff_t>(count);
    for (auto value = first; value != values.end(); ++value)
        array.push_back(std::move(*value));
    values.erase(first, values.end());
    values.emplace_back(std::move(array));
}

void zentaraEndObject(ZentaraBuilder* builder, size_t count) noexcept {
    auto& values = builder->values;
    JSONObject object;
    object.reserve(count);
    const auto first = values.end() - static_cast<std::ptrdiff_t>(2 * count);
    for (auto member = first; member != values.end(); member += 2)
        object.set(member[0].string(), std::move(member[1]));
    values.erase(first, values.end());
    values.emplace_back(std::move(object));
}

size_t zentaraQueuedDepth() noexcept {
    return maximumPropertiesDepth;
}

// Clients and the process.

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
