#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>

#include <zentara/TypedEvent.h>
#include <zentara/ZentaraClient.h>

#include "silent.h"

using namespace zentara;

namespace {

int failures = 0;

void expect(const std::string& found, const std::string& expected) {
    if (found == expected) return;
    std::cerr << "found    " << found << "\nexpected " << expected << '\n';
    ++failures;
}

/// What the library throws must be the type that the application catches.
std::string getUnconfigured() {
#if defined(__cpp_exceptions)
    try {
        static_cast<void>(ZentaraClient::get());
    } catch (const ZentaraClientNotConfiguredError& error) {
        return error.what();
    }
    return "nothing thrown";
#else
    return ZentaraClient::isReady() ? "ready" : "not ready";
#endif
}

}  // namespace

/// Ready by the bundled schemas: the service does not answer.
int main(int, char** argv) {
    const std::filesystem::path folder = std::string(argv[0]) + "-documents";
    std::filesystem::remove_all(folder);
    HostApplication::setDocumentsDirectory(folder);
    HostApplication::setPreferencesDirectory(folder);
#if defined(__cpp_exceptions)
    expect(getUnconfigured(),
           "ZentaraClient is not configured: call ZentaraClient::useSettings first");
#else
    expect(getUnconfigured(), "not ready");
#endif

    const std::string service = "http://127.0.0.1:" + std::to_string(silentPort());
    ZentaraEndpoints::use({service, service, service, service, ""});
    ZentaraClient::useSettings("consumer", ZentaraEnvironment::qa);
    ZentaraClient::setBundledSchemas(
        R"({"view-1":{"properties":{"title":{"pattern":"^\\p{Lu}","maxLength":6}}}})");
    const auto client = ZentaraClient::get();
    const auto send = [&client](std::string title) {
        std::string outcome = "not called";
        client->send({.schemaId = "view", .schemaVersion = "1", .properties = {{"title", title}}},
                     [&](const EventRef& event, const ZentaraClientErrorRef& error) {
                         expect(std::string(event->properties().at("title").string()), title);
                         outcome = error ? error->what() : "queued";
#if defined(__cpp_rtti)
                         using Invalid = InvalidDataForSpecifiedSchemaError;
                         if (error && !dynamic_cast<const Invalid*>(error.get()))
                             outcome = "an error of another type";
#endif
                     });
        return outcome;
    };
    expect(send("Übe\u0301r👨‍👩‍👧"), "queued");
    expect(send("home"),
           "Data not valid for specified Schema. Error validating view-1 schema: "
           "'home' does not match pattern: '^\\p{Lu}'");

    std::ifstream file(folder / "events-storage");
    const std::string queue((std::istreambuf_iterator<char>(file)), {});
    expect(queue.substr(0, queue.find(",\"actionTs\"")),
           R"([{"id":"view","version":"1","url":"","contentType":"application/json",)"
           R"("properties":{"title":"Übér👨‍👩‍👧"})");
    return failures == 0 ? 0 : 1;
}
