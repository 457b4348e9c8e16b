#include "track/Sender.h"

#include <zentara/EventError.h>
#include <zentara/HostApplication.h>
#include <zentara/URL.h>
#include <zentara/ZentaraEndpoints.h>

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace zentara::track {

/// The reports of the ready callback, of which the last one counts.
struct Sender::Readiness {
    std::mutex mutex;
    std::condition_variable changed;
    bool ready = false;                     // guarded by mutex
    std::string problem = "no answer yet";  // guarded by mutex

    void report(const ZentaraClientErrorRef& error) {
        {
            const std::lock_guard lock(mutex);
            ready = error == nullptr;
            problem = error ? error->localizedDescription() : "";
        }
        changed.notify_all();
    }
};

namespace {

void describeHost(const Options& options) {
    if (!options.bundleIdentifier.empty()) {
        HostApplication::setBundleIdentifier(options.bundleIdentifier);
    }
    if (!options.documents.empty()) HostApplication::setDocumentsDirectory(options.documents);
    if (!options.preferences.empty()) {
        HostApplication::setPreferencesDirectory(options.preferences);
    }
}

/// The library ends the process over an endpoint that is none; here it is the user's mistake.
void setEndpoint(std::string& endpoint, const std::string& text) {
    if (text.empty()) return;
    const auto url = URL::parse(text);
    if (!url || (url->scheme() != "http" && url->scheme() != "https")) {
        throw std::runtime_error("\"" + text + "\" is not an http or https URL");
    }
    endpoint = text;
}

void useEndpoints(const Options& options) {
    ZentaraEndpoints endpoints = ZentaraEndpoints::current();
    const bool production = options.environment == ZentaraEnvironment::production;
    setEndpoint(production ? endpoints.productionCollector : endpoints.qaCollector,
                options.collector);
    setEndpoint(production ? endpoints.productionSchemas : endpoints.qaSchemas, options.schemas);
    endpoints.certificateAuthorityFile = options.certificateAuthority;
    ZentaraEndpoints::use(endpoints);
}

/// Nothing waits, and nothing is under way. Without the held-back events, which nobody can hurry.
bool queueIsEmpty() {
    const auto counts = ZentaraClient::statistics();
    return counts.waiting == 0 && counts.underWay == 0;
}

Result resultOf(const ZentaraClientErrorRef& error) {
    if (!error) return {};
    const auto is = [&]<typename Error>() {
        return dynamic_cast<const Error*>(error.get()) != nullptr;
    };
    std::string message = error->localizedDescription();
    if (is.operator()<InvalidDataForSpecifiedSchemaError>()) {
        return {Outcome::invalid, std::move(message)};
    }
    if (is.operator()<UnknownError>()) return {Outcome::unknownSchema, std::move(message)};
    const bool held = is.operator()<ZentaraClientNotReady>() &&
                      message.find("queued to be sent later") != std::string::npos;
    return {held ? Outcome::heldBack : Outcome::notQueued, std::move(message)};
}

}  // namespace

Sender::Sender(const Options& options) : readiness_(std::make_shared<Readiness>()) {
    describeHost(options);
    useEndpoints(options);
    ZentaraClient::useSettings(options.tenant, options.environment, options.advertisingId);
    client_ = ZentaraClient::get(
        [readiness = readiness_](const ZentaraClientErrorRef& error) { readiness->report(error); });
    if (options.loggedUser) {
        ZentaraClient::setLoggedUser(options.loggedUser->type, options.loggedUser->token);
    }
    patience_.withoutDelivery = options.drainTimeout;
}

std::optional<std::string> Sender::waitUntilReady(std::chrono::milliseconds timeout) {
    std::unique_lock lock(readiness_->mutex);
    readiness_->changed.wait_for(lock, timeout, [this] { return readiness_->ready; });
    if (readiness_->ready) return std::nullopt;
    return readiness_->problem;
}

Result Sender::send(EventLine event) {
    Result result;
    client_->send(std::move(event.schemaId), std::move(event.schemaVersion),
                  std::move(event.contentType), std::move(event.url), std::move(event.referer),
                  std::move(event.properties), std::move(event.relationId),
                  [&result](const EventRef&, const ZentaraClientErrorRef& error) {
                      result = resultOf(error);
                  });
    return result;
}

Drain::Result Sender::drain(const Drain::Progress& progress) {
    Drain drain([client = client_](
                    ZentaraClient::FetchCallback done) { client->performFetch(std::move(done)); },
                queueIsEmpty, patience_);
    return drain.run(progress);
}

}  // namespace zentara::track
