// A host application without a network.
//     zentara_consent_host FOLDER deny   queues events, prints "denying", and denies consent
//     zentara_consent_host FOLDER start  builds a client and returns
//     zentara_consent_host FOLDER exit   shuts the library down on a thread, in `main`'s return and
//                                        when the process exits

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include <zentara/ZentaraClient.h>
#include "support/HostSetUp.h"

int main(int argc, char** argv) {
    using namespace zentara;
    if (argc != 3) return 64;
    // Ends a process that hangs.
    ::alarm(60);
    const std::string mode = argv[2];
    if (mode == "exit") {
        std::atexit([] { ZentaraClient::shutdown(std::chrono::seconds(50)); });
    }
    ZentaraClient::setLogSink(LogLevel::fatal, QuietLog());
    test::setUpHost(argv[1], "http://127.0.0.1:1", "http://127.0.0.1:1");
    const auto client = ZentaraClient::get();
    if (mode == "start") return 0;
    ZentaraClient::setLoggedUser(UserTokenType::externalId, "secret");
    for (int i = 0; i < 60; ++i) {
        ZentaraClient::setIsReady(i < 40);
        client->send({.schemaId = "any", .schemaVersion = "1", .properties = {{"secret", i}}});
    }
    std::puts(mode == "deny" ? "denying" : "leaving");
    std::fflush(stdout);
    if (mode == "exit") {
        std::thread([] { ZentaraClient::shutdown(std::chrono::seconds(50)); }).detach();
        return 0;
    }
    ZentaraClient::setConsent(Consent::denied);
    for (;;)
        ::pause();
}
