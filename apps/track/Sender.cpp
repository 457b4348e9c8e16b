#include "track/Sender.h"

#include <zentara/EventError.h>
#include <zentara/HostApplication.h>
#include <zentara/URL.h>
#include <zentara/ZentaraEndpoints.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace zentara::track {

/// The last report of the ready callback.
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

/// Without a folder the library would queue in memory only, and the user could not tell what a
/// second run has to send.
void requireDocumentsFolder() {
    constexpr const char* hint = "; name another folder with --documents";
    const auto folder = HostApplication::documentsDirectory();
    if (!folder) throw std::runtime_error("no folder for the queue; name one with --documents");
    // Like the library, makes folders for this user only.
    const auto mask = ::umask(0077);
    std::error_code error;
    std::filesystem::create_directories(*folder, error);
    ::umask(mask);
    if (!error && ::access(folder->c_str(), W_OK | X_OK) != 0) {
        error.assign(errno, std::generic_category());
    }
    if (error) throw std::runtime_error(folder->string() + ": " + error.message() + hint);
}

/// The URL without user name, password and query.
std::string shown(const URL& url) {
    std::string text = url.string().substr(0, url.string().find_first_of("?#"));
    const auto host = text.find("//") + 2;
    const auto at = text.substr(0, text.find('/', host)).rfind('@');
    if (at != std::string::npos) text.erase(host, at + 1 - host);
    return text;
}

/// An invalid endpoint is fatal to the library, but may be the user's mistake here.
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

/// Queued or in flight.
std::int64_t undelivered() {
    const auto counts = ZentaraClient::statistics();
    return counts.waiting + counts.inFlight;
}

/// `problem` with its cause, if that is known.
std::string withCause(std::string problem, const ZentaraClientFailure& failure) {
    if (failure.inARow > 0) problem += ": " + failure.text;
    return problem;
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
    if (held) return {Outcome::heldBack, std::move(message)};
    return {Outcome::notQueued,
            withCause(std::move(message), ZentaraClient::statistics().storageFailure)};
}

}  // namespace

Sender::Sender(const Options& options) : readiness_(std::make_shared<Readiness>()) {
    describeHost(options);
    requireDocumentsFolder();
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
    return withCause(readiness_->problem, ZentaraClient::statistics().schemasFailure);
}

Result Sender::send(EventLine event) {
    Result result;
    client_->send(std::move(event.schemaId), std::move(event.schemaVersion),
                  std::move(event.contentType), std::move(event.url), std::move(event.referer),
                  std::move(event.properties), std::move(event.relationId),
                  [&result](const EventRef&, const ZentaraClientErrorRef& error) {
                      result = resultOf(error);
                  });
    if (result.outcome == Outcome::notQueued) {
        const auto before = std::exchange(notSaved_, ZentaraClient::statistics().notSaved);
        if (notSaved_ > before) result.outcome = Outcome::notSaved;
    }
    return result;
}

bool Sender::drain(const Drain::Progress& progress) {
    return Drain(&ZentaraClient::flush, patience_).run(progress);
}

std::string Sender::queuedEvents() {
    const auto count = undelivered();
    const auto folder = HostApplication::documentsDirectory().value_or("").string();
    return std::to_string(count) + (count == 1 ? " event is" : " events are") + " queued in " +
           folder + " for the next run";
}

std::string Sender::schemasAddress() {
    const auto settings = ClientSettings::current();
    return shown(ZentaraEndpoints::schemas(settings->environment)
                     .appendingPathComponent(settings->schemasPath));
}

std::string Sender::collectorAddress() {
    return shown(ZentaraEndpoints::collector(ClientSettings::current()->environment));
}

std::string Sender::failures() {
    const auto all = ZentaraClient::statistics();
    const std::pair<const char*, const ZentaraClientFailure&> parts[] = {
        {"schemas", all.schemasFailure},
        {"identity", all.identityFailure},
        {"delivery", all.deliveryFailure},
        {"storage", all.storageFailure},
    };
    std::string lines;
    for (const auto& [part, failure] : parts) {
        if (failure.inARow == 0) continue;
        lines += std::string("failing     ") + part + ", " + std::to_string(failure.inARow) +
                 " in a row: " + failure.text + '\n';
    }
    return lines;
}

}  // namespace zentara::track
