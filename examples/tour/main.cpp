// The whole interface in fifteen steps. Prints a line for each result; main.c, main.m and main.py
// print the same.
//
//     zentara-collector --port 8080 --schemas examples/schemas &
//     tour-cpp http://127.0.0.1:8080 "$(mktemp -d)"

#include <zentara/ZentaraClient.h>

#include <chrono>
#include <future>
#include <iostream>
#include <memory>
#include <string>

using namespace zentara;

namespace {

constexpr std::chrono::seconds deadline(20);

std::string told(const ZentaraClientErrorRef& error) {
    return error ? std::to_string(error->code()) + " " + error->what() : "queued";
}

void send(ZentaraClient& client, const std::string& step, JSONObject properties) {
    client.send({.schemaId = "page-view",
                 .schemaVersion = "1",
                 .properties = std::move(properties),
                 .url = "https://example.com/" + step,
                 .referer = "https://example.org/" + step},
                [&](const EventRef&, const ZentaraClientErrorRef& error) {
                    std::cout << step << ": " << told(error) << '\n';
                });
}

JSONObject page(const std::string& title) {
    return {{"title", title}, {"section", "home"}, {"language", "en"}};
}

void tell(const std::string& step, const FlushResult& result) {
    std::cout << step << ": outcome " << static_cast<int>(result.outcome) << ", " << result.heldBack
              << " held back, " << result.lastFailure << '\n';
}

void flush(const std::string& step) {
    std::promise<FlushResult> flushed;
    ZentaraClient::flush(deadline, [&](const FlushResult& result) { flushed.set_value(result); });
    tell(step, flushed.get_future().get());
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) return 2;
    ZentaraClient::setLogSink(LogLevel::fatal, QuietLog());

    // 1: configure
    HostApplication::setBundleIdentifier("languages");
    HostApplication::setDocumentsDirectory(argv[2]);
    HostApplication::setPreferencesDirectory(argv[2]);
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = argv[1];
    endpoints.qaSchemas = argv[1];
    ZentaraEndpoints::use(endpoints);
    ZentaraClient::useSettings(
        "languages", ZentaraEnvironment::qa, "advertising-1",
        {.continueAtOnce = true, .compressBodies = true, .reuseConnections = true});

    // 2: pending consent
    std::cout << "pending: " << ZentaraClient::setConsent(Consent::pending) << '\n';
    auto ready = std::make_shared<std::promise<void>>();
    auto schemas = ready->get_future();
    const auto client = ZentaraClient::get([ready](const ZentaraClientErrorRef& error) mutable {
        if (const auto first = error ? nullptr : std::move(ready)) first->set_value();
    });
    send(*client, "held back", page("held back"));

    // 3: grant
    std::cout << "granted: " << ZentaraClient::setConsent(Consent::granted) << '\n';
    schemas.wait();

    // 4 and 5: send valid and invalid
    send(*client, "valid", page("valid"));
    send(*client, "invalid", {{"title", 7}});

    // 6: global properties
    ZentaraClient::setGlobalProperties({{"section", "help"}, {"language", "en"}});
    send(*client, "global", {{"title", "global"}});

    // 7: drop
    ZentaraClient::setBeforeQueue([](OutgoingEvent& event) {
        if (event.properties.at("title") == "drop") return EventDecision::drop;
        event.referer = "https://example.net/changed";
        return EventDecision::queue;
    });
    send(*client, "drop", {{"title", "drop"}});
    send(*client, "changed", {{"title", "changed"}});
    ZentaraClient::setBeforeQueue(nullptr);
    ZentaraClient::setGlobalProperties({});

    // 8 to 10: pause, resume, flush
    ZentaraClient::pauseDelivery();
    send(*client, "paused", page("paused"));
    flush("flush while paused");
    ZentaraClient::resumeDelivery();
    flush("flush");

    // 11: logged user
    ZentaraClient::setLoggedUser(UserTokenType::guest, "user-1");
    send(*client, "user", page("user"));
    flush("flush of the user");

    // 12: validate
    for (const auto& message : client->validate("page-view", "1", {{"title", 7}}).messages)
        std::cout << "validate: " << message << '\n';

    // 13: forget
    std::cout << "forgotten: " << ZentaraClient::forgetUser() << '\n';
    send(*client, "forgotten", page("forgotten"));
    flush("flush after forgetting");

    // 14: deny
    ZentaraClient::pauseDelivery();
    send(*client, "discarded", page("discarded"));
    std::cout << "denied: " << ZentaraClient::setConsent(Consent::denied) << '\n';
    send(*client, "refused", page("refused"));

    // 15: shutdown
    tell("shutdown", ZentaraClient::shutdown(deadline));
    send(*client, "too late", page("too late"));

    const auto counts = ZentaraClient::statistics();
#define TELL(name) std::cout << #name << ' ' << counts.name << '\n'
    TELL(accepted);
    TELL(heldBack);
    TELL(refusedInvalid);
    TELL(refusedConsent);
    TELL(refusedShutDown);
    TELL(droppedByHook);
    TELL(released);
    TELL(delivered);
    TELL(discarded);
    TELL(waiting);
    TELL(inFlight);
    TELL(heldBackWaiting);
#undef TELL
}
