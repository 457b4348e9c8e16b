#include <filesystem>
#include <string>

#include <zentara/ZentaraClient.h>

using namespace zentara;

int main(int, char** argv) {
    const std::filesystem::path folder = std::string(argv[0]) + "-documents";
    std::filesystem::remove_all(folder);
    HostApplication::setDocumentsDirectory(folder);
    HostApplication::setPreferencesDirectory(folder);

    // What the library throws must be the type that the application catches.
    bool isRefused = false;
    try {
        static_cast<void>(ZentaraClient::get());
    } catch (const ZentaraClientNotConfiguredError&) {
        isRefused = true;
    }

    // The port is reserved and has no listener. Without schemas an event is held back. Only the
    // type of the error tells that.
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
    const bool isStored = std::filesystem::exists(folder / "unvalidated-events-storage");
    return isRefused && isHeldBack && isStored ? 0 : 1;
}
