// A host application for the tests. It sends numbered events and tells on standard output, one line
// each, the numbers of those that the library has queued.
//
//     zentara_sending_host COLLECTOR SCHEMAS DOCUMENTS FIRST COUNT leave|linger|deliver
//
// At the end it asks for a delivery and returns from main without waiting for it ("leave"), or
// waits to be killed ("linger"). With "deliver" it asks for a delivery when half of the events are
// sent, and waits to be killed.

#include <zentara/ZentaraClient.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <future>
#include <memory>
#include <string>
#include <string_view>

using namespace zentara;

int main(int argc, char** argv) {
    if (argc != 7) return 64;
    HostApplication::setDocumentsDirectory(argv[3]);
    HostApplication::setPreferencesDirectory(argv[3]);
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = argv[1];
    endpoints.qaSchemas = argv[2];
    ZentaraEndpoints::use(endpoints);
    ZentaraClient::useSettings("tenant", ZentaraEnvironment::qa);
    const auto ready = std::make_shared<std::promise<void>>();
    const auto told = std::make_shared<std::atomic<bool>>(false);
    const auto client = ZentaraClient::get([=](const ZentaraClientErrorRef& error) {
        if (!error && !told->exchange(true)) ready->set_value();
    });
    ready->get_future().wait();
    const auto first = std::stoll(argv[4]);
    const auto count = std::stoll(argv[5]);
    const std::string_view mode = argv[6];
    for (std::int64_t number = first; number < first + count; ++number) {
        if (mode == "deliver" && number == first + count / 2) client->performFetch(nullptr);
        client->send("numbered", "1", "text/plain", number, "", {{"number", number}}, std::nullopt,
                     [number](const EventRef&, const ZentaraClientErrorRef& error) {
                         if (error) return;
                         // Straight to the pipe, so that nothing is lost with the process.
                         const auto line = std::to_string(number) + '\n';
                         std::fwrite(line.data(), 1, line.size(), stdout);
                         std::fflush(stdout);
                     });
    }
    if (mode != "leave") std::promise<void>().get_future().wait();
    client->performFetch(nullptr);
    return 0;
}
