#pragma once

#include <gtest/gtest.h>

#include <zentara/ZentaraClient.h>

#include <memory>
#include <optional>
#include <string>

#include "support/HostSetUp.h"
#include "support/WaitFor.h"

namespace zentara::test {

/// Restores the state of a new process.
inline void resetClient() {
    ZentaraClient::setSharedClient(nullptr);
    ZentaraClient::setIsReady(false);
}

/// The shared client, after the first report of its readiness.
inline std::shared_ptr<ZentaraClient> getClient() {
    std::shared_ptr<ZentaraClient> client;
    EXPECT_TRUE(valueFrom<ZentaraClientErrorRef>(
        [&](auto report) { client = ZentaraClient::get(std::move(report)); }));
    return client;
}

inline std::optional<std::string> fetchHsid(ZentaraClient& client) {
    return valueFrom<std::string>([&](auto done) { client.getHsid(std::move(done)); });
}

inline std::optional<BackgroundFetchResult> fetch(ZentaraClient& client) {
    return valueFrom<BackgroundFetchResult>(
        [&](auto done) { client.performFetch(std::move(done)); });
}

inline FlushResult flush(std::chrono::milliseconds deadline = generousTimeout) {
    return valueFrom<FlushResult>(
               [&](auto done) { ZentaraClient::flush(deadline, std::move(done)); })
        .value();
}

/// What the handler is told: the text of an error, or "queued".
inline std::string send(ZentaraClient& client, const EventDraft& draft) {
    std::string outcome;
    client.send(
        draft, [&](const auto&, const auto& error) { outcome = error ? error->what() : "queued"; });
    return outcome;
}

/// Sends an event with the property "n".
inline std::string send(ZentaraClient& client, std::int64_t number) {
    return send(client, {.schemaId = "any", .schemaVersion = "1", .properties = {{"n", number}}});
}

inline void expectBalanced(const ZentaraClientStatistics& books) {
    EXPECT_EQ(imbalances(books), std::pair(std::int64_t(0), std::int64_t(0)));
}

/// Lets the client deliver all that is queued.
inline void drain(ZentaraClient& client) {
    while (fetch(client) == BackgroundFetchResult::newData) {
    }
}

}  // namespace zentara::test
