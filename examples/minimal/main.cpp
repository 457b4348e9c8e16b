// The smallest host application: one event, from the call to the collector.
//
//     zentara-collector --port 8080 --schemas examples/schemas &
//     minimal http://127.0.0.1:8080 http://127.0.0.1:8080

#include <zentara/ZentaraClient.h>

#include <chrono>
#include <future>
#include <iostream>
#include <memory>

using namespace zentara;

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: minimal COLLECTOR_URL SCHEMAS_URL\n";
        return 2;
    }

    // Once, when the application starts.
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = argv[1];
    endpoints.qaSchemas = argv[2];
    ZentaraEndpoints::use(endpoints);
    ZentaraClient::useSettings("my-tenant", ZentaraEnvironment::qa);

    auto ready = std::make_shared<std::promise<void>>();
    auto schemas = ready->get_future();
    const auto client = ZentaraClient::get([ready](const ZentaraClientErrorRef& error) mutable {
        if (error) {
            std::cerr << error->what() << '\n';
        } else if (const auto first = std::move(ready)) {
            first->set_value();
        }
    });
    if (schemas.wait_for(std::chrono::seconds(30)) != std::future_status::ready) return 1;

    // Whenever something happens.
    client->send("page-view", "1", "application/json", "https://example.com/", "",
                 {{"title", "Home"}, {"section", "home"}, {"language", "en"}}, std::nullopt,
                 [](const EventRef& event, const ZentaraClientErrorRef& error) {
                     std::cout << event->schemaId() << ": " << (error ? error->what() : "queued")
                               << '\n';
                 });

    // The library delivers every ten seconds. A program that ends requests the delivery itself.
    const auto flushed = std::make_shared<std::promise<FlushResult>>();
    ZentaraClient::flush(std::chrono::seconds(10),
                         [flushed](const FlushResult& result) { flushed->set_value(result); });
    const auto result = flushed->get_future().get();
    if (result.outcome != FlushResult::Outcome::empty) {
        std::cerr << "the event stays queued for the next run: " << result.lastFailure << '\n';
        return 1;
    }
    std::cout << "delivered\n";
    return 0;
}
