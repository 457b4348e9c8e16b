#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

#include <zentara/ZentaraClient.h>

using namespace zentara;

namespace {

/// What the library throws must be the type that the application catches.
bool refusesUseWithoutSettings() {
    try {
        static_cast<void>(ZentaraClient::get());
    } catch (const ZentaraClientNotConfiguredError&) {
        return true;
    }
    return false;
}

/// Without a schemas service an event is held back, which only its error's type tells.
bool holdsEventsBack() {
    // The port is reserved and nobody listens on it.
    const std::string nowhere = "http://127.0.0.1:1";
    ZentaraEndpoints::use({nowhere, nowhere, nowhere, nowhere, ""});
    ZentaraClient::useSettings("consumer", ZentaraEnvironment::qa);

    bool isHeldBack = false;
    ZentaraClient::get()->send(
        "page-view", "1", "application/json", "https://example.com/", "", {{"title", "Home"}},
        std::nullopt, [&](const EventRef& event, const ZentaraClientErrorRef& error) {
            isHeldBack = event->properties().at("title") == "Home" &&
                         dynamic_cast<const ZentaraClientNotReady*>(error.get());
        });
    return isHeldBack;
}

}  // namespace

int main(int, char** argv) {
    const std::filesystem::path folder = std::string(argv[0]) + "-documents";
    std::filesystem::remove_all(folder);
    HostApplication::setDocumentsDirectory(folder);
    HostApplication::setPreferencesDirectory(folder);

    const bool refuses = refusesUseWithoutSettings();
    const bool holdsBack = holdsEventsBack();
    const bool isStored = std::filesystem::exists(folder / "unvalidated-events-storage");
    if (!refuses) std::cerr << "ZentaraClientNotConfiguredError is not recognised\n";
    if (!holdsBack) std::cerr << "ZentaraClientNotReady is not recognised\n";
    if (!isStored) std::cerr << "the event is not on disk\n";
    return refuses && holdsBack && isStored ? 0 : 1;
}
