#include <cstdint>
#include <filesystem>
#include <memory>
#include <utility>
#include <vector>

#include <zentara/HostApplication.h>
#include <zentara/URL.h>
#include <zentara/ZentaraEndpoints.h>
#include "c/Boundary.h"
#include "facade/ZentaraClientAccess.h"
#include "text/Unicode.h"

using namespace zentara;
using namespace zentara::c;

namespace {

/// Replaces a text unless the other is absent.
void replace(std::string& text, zentara_text other) {
    if (other.bytes != nullptr) text = string(other);
}

/// A wrong URL would end the process.
void checkURL(const std::string& text) {
    const auto url = URL::parse(text);
    if (!url || (url->scheme() != "http" && url->scheme() != "https")) {
        // The text before the host may hold a password.
        const auto at = text.rfind('@');
        const auto shown = at == std::string::npos ? text : "..." + text.substr(at);
        refuse(ZENTARA_INVALID_ARGUMENT, "not an http or https URL: '" + shown + "'");
    }
}

DeliveryPolicy policyOf(const zentara_delivery_policy* record) {
    if (record == nullptr) return {};
    const auto policy = readRecord(record);
    return {.continueAtOnce = policy.continue_at_once,
            .largestBodySize = policy.largest_body_size,
            .compressBodies = policy.compress_bodies,
            .backOff = policy.back_off,
            .isolateRefused = policy.isolate_refused,
            .reuseConnections = policy.reuse_connections};
}

/// Calls the handler with handles that are valid during the call.
void call(zentara_send_handler handler, void* context, const EventRef& event,
          const ZentaraClientErrorRef& error) {
    const zentara_event eventHandle(event, HandleOwner::library);
    const zentara_error errorHandle(error, HandleOwner::library);
    handler(context, &eventHandle, error ? &errorHandle : nullptr);
}

/// Small enough for a `std::function` without memory of its own.
struct SendCall {
    zentara_send_handler handler;
    void* context;

    void operator()(const EventRef& event, const ZentaraClientErrorRef& error) const {
        call(handler, context, event, error);
    }
};

ZentaraClient::SendHandler sendHandler(zentara_send_handler handler, void* context) {
    if (handler == nullptr) return nullptr;
    return SendCall{handler, context};
}

zentara_status send(const zentara_client* client, const zentara_event_draft* record,
                    Ownership ownership, zentara_send_handler handler, void* context,
                    void (*release)(void*)) noexcept {
    const CallContext owner{context, release};
    return guarded([&] {
        auto draft = readDraft(record, ownership);
        const auto& texts = draft.record;
        auto schemaId = requiredString(texts.schema_id, "schema id");
        auto schemaVersion = requiredString(texts.schema_version, "schema version");
        clientOf(client)->send(std::move(schemaId), std::move(schemaVersion),
                               string(texts.content_type), string(texts.url), string(texts.referer),
                               std::move(draft.properties), optionalString(texts.relation_id),
                               sendHandler(handler, context));
    });
}

}  // namespace

// The host application and its endpoints.

zentara_status zentara_set_bundle_identifier(zentara_text identifier) noexcept {
    return guarded([&] { HostApplication::setBundleIdentifier(string(identifier)); });
}

zentara_status zentara_set_documents_directory(zentara_text path) noexcept {
    return guarded([&] { HostApplication::setDocumentsDirectory(string(path)); });
}

zentara_status zentara_set_preferences_directory(zentara_text path) noexcept {
    return guarded([&] { HostApplication::setPreferencesDirectory(string(path)); });
}

zentara_text zentara_bundle_identifier() noexcept {
    return guardedOr(zentara_text{}, [] {
        auto& text = ThreadTexts::own().bundleIdentifier;
        text = HostApplication::bundleIdentifier();
        return borrowed(text);
    });
}

zentara_text zentara_documents_directory() noexcept {
    return guardedOr(zentara_text{}, [] {
        const auto directory = HostApplication::documentsDirectory();
        if (!directory) return zentara_text{};
        auto& text = ThreadTexts::own().documentsDirectory;
        text = withValidUTF8(directory->string());
        return borrowed(text);
    });
}

zentara_text zentara_preferences_directory() noexcept {
    return guardedOr(zentara_text{}, [] {
        const auto directory = HostApplication::preferencesDirectory();
        if (!directory) return zentara_text{};
        auto& text = ThreadTexts::own().preferencesDirectory;
        text = withValidUTF8(directory->string());
        return borrowed(text);
    });
}

zentara_status zentara_set_device(zentara_text system_name, zentara_text system_version,
                                  zentara_text hardware_model) noexcept {
    return guarded([&] {
        HostApplication::setDevice(
            {string(system_name), string(system_version), string(hardware_model)});
    });
}

zentara_status zentara_use_endpoints(const zentara_endpoints* endpoints) noexcept {
    return guarded([&] {
        const auto texts = readRecord(endpoints);
        auto all = ZentaraEndpoints::current();
        replace(all.productionCollector, texts.production_collector);
        replace(all.qaCollector, texts.qa_collector);
        replace(all.productionSchemas, texts.production_schemas);
        replace(all.qaSchemas, texts.qa_schemas);
        replace(all.certificateAuthorityFile, texts.certificate_authority_file);
        for (const auto* url :
             {&all.productionCollector, &all.qaCollector, &all.productionSchemas, &all.qaSchemas}) {
            checkURL(*url);
        }
        ZentaraEndpoints::use(all);
    });
}

zentara_status zentara_use_settings(zentara_text tenant, zentara_environment environment,
                                    zentara_text advertising_id,
                                    const zentara_delivery_policy* delivery) noexcept {
    return guarded([&] {
        const auto known = zentaraEnvironment(environment);
        if (!known) {
            refuse(ZENTARA_INVALID_ARGUMENT,
                   "there is no environment " + std::to_string(environment));
        }
        ZentaraClient::useSettings(string(tenant), *known, optionalString(advertising_id),
                                   policyOf(delivery));
    });
}

zentara_status zentara_set_bundled_schemas(zentara_text table) noexcept {
    return guarded([&] { ZentaraClient::setBundledSchemas(view(table)); });
}

bool zentara_is_configured() noexcept {
    return ClientSettings::current() != nullptr;
}

// Clients.

zentara_status zentara_get(zentara_ready_callback ready, void* context, void (*release)(void*),
                           zentara_client** client) noexcept {
    if (client != nullptr) *client = nullptr;
    return guarded([&] {
        auto callback = calling<ZentaraClient::ReadyCallback>(
            ready, context, release,
            [](zentara_ready_callback function, void* owner, const ZentaraClientErrorRef& error) {
                const zentara_error handle(error, HandleOwner::library);
                function(owner, error ? &handle : nullptr);
            });
        auto shared = ZentaraClient::get(std::move(callback));
        if (client != nullptr) *client = makeHandle(shared);
    });
}

zentara_client* zentara_shared_client_copy() noexcept {
    return guardedOr<zentara_client*>(nullptr,
                                      [] { return makeHandle(ZentaraClient::sharedClient()); });
}

zentara_client* zentara_client_copy(const zentara_client* client) noexcept {
    if (client == nullptr) return zentara_shared_client_copy();
    return guardedOr<zentara_client*>(nullptr, [&] { return makeHandle(checked(client).client); });
}

void zentara_client_release(zentara_client* client) noexcept {
    release(client);
}

zentara_status zentara_share_client(const zentara_client* client) noexcept {
    return guarded([&] {
        ZentaraClient::setSharedClient(client == nullptr ? nullptr : checked(client).client);
    });
}

bool zentara_is_ready() noexcept {
    return ZentaraClient::isReady();
}

void zentara_set_ready(bool ready) noexcept {
    ZentaraClient::setIsReady(ready);
}

zentara_status zentara_send(const zentara_client* client, const zentara_event_draft* draft,
                            zentara_send_handler handler, void* context,
                            void (*release)(void*)) noexcept {
    return send(client, draft, Ownership::copied, handler, context, release);
}

zentara_status zentara_send_take(const zentara_client* client, const zentara_event_draft* draft,
                                 zentara_send_handler handler, void* context,
                                 void (*release)(void*)) noexcept {
    return send(client, draft, Ownership::taken, handler, context, release);
}

zentara_status zentara_send_events(const zentara_client* client, const zentara_event* const* events,
                                   size_t count, zentara_text relation_id,
                                   zentara_send_handler handler, void* context,
                                   void (*release)(void*)) noexcept {
    const CallContext owner{context, release};
    return guarded([&] {
        if (events == nullptr && count != 0) refuse(ZENTARA_INVALID_ARGUMENT, "null events");
        std::vector<EventRef> all;
        all.reserve(count);
        for (std::size_t index = 0; index < count; ++index) {
            if (events[index] != nullptr) all.push_back(checked(events[index]).event);
        }
        clientOf(client)->send(std::move(all), optionalString(relation_id),
                               sendHandler(handler, context));
    });
}

zentara_status zentara_send_event(const zentara_client* client, const zentara_event* event,
                                  zentara_send_handler handler, void* context,
                                  void (*release)(void*)) noexcept {
    const CallContext owner{context, release};
    return guarded(
        [&] { clientOf(client)->send(checked(event).event, sendHandler(handler, context)); });
}

zentara_status zentara_new_context_id(const zentara_client* client) noexcept {
    return guarded([&] { clientOf(client)->newContextId(); });
}

zentara_text zentara_context_id(const zentara_client* client) noexcept {
    return guardedOr(zentara_text{}, [&] {
        auto& text = ThreadTexts::own().contextId;
        text = clientOf(client)->getContextId();
        return borrowed(text);
    });
}

zentara_status zentara_set_advertising_id(const zentara_client* client,
                                          zentara_text advertising_id) noexcept {
    return guarded([&] {
        if (advertising_id.bytes == nullptr) {
            clientOf(client)->removeAdvertisingId();
        } else {
            clientOf(client)->setAdvertisingId(string(advertising_id));
        }
    });
}

zentara_status zentara_set_logged_user(zentara_user_token_type type, zentara_text token) noexcept {
    return guarded([&] {
        const auto known = userTokenType(type);
        if (!known) {
            refuse(ZENTARA_INVALID_ARGUMENT, "there is no token type " + std::to_string(type));
        }
        ZentaraClient::setLoggedUser(*known, requiredString(token, "token"));
    });
}

zentara_status zentara_remove_logged_user() noexcept {
    return guarded([] { ZentaraClient::removeLoggedUser(); });
}

zentara_status zentara_get_anonymous_user(zentara_anonymous_user_callback callback, void* context,
                                          void (*release)(void*)) noexcept {
    const CallContext owner{context, release};
    return guarded([&] {
        ZentaraClientAccess::getConfigured()->getAnonymousUser(
            [&](const std::string& type, const std::string& value,
                const std::optional<std::string>& publicValue) {
                if (callback == nullptr) return;
                callback(context, borrowed(type), borrowed(value), borrowedIfThere(publicValue));
            });
    });
}

zentara_status zentara_get_hsid(zentara_hsid_callback callback, void* context,
                                void (*release)(void*)) noexcept {
    return guarded([&] {
        auto report = calling<ZentaraClient::HsidCallback>(
            callback, context, release,
            [](zentara_hsid_callback function, void* owner, const std::string& hsid) {
                function(owner, borrowed(hsid));
            });
        ZentaraClientAccess::getConfigured()->getHsid(std::move(report));
    });
}

zentara_status zentara_perform_fetch(zentara_fetch_callback completion, void* context,
                                     void (*release)(void*)) noexcept {
    return guarded([&] {
        auto report = calling<ZentaraClient::FetchCallback>(
            completion, context, release,
            [](zentara_fetch_callback function, void* owner, BackgroundFetchResult result) {
                function(owner, static_cast<zentara_fetch_result>(result));
            });
        // Works on the shared client, whichever client it is called on, and builds none.
        auto client = ZentaraClient::sharedClient();
        if (!client) client = ZentaraClientAccess::makePlain();
        client->performFetch(std::move(report));
    });
}
