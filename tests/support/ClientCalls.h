#pragma once

#include <gtest/gtest.h>

#include <zentara/ZentaraClient.h>

#include <memory>
#include <optional>
#include <string>

#include "support/WaitFor.h"

namespace zentara::test {

/// As at the start of a process.
inline void resetClient() {
    ZentaraClient::setSharedClient(nullptr);
    ZentaraClient::setIsReady(false);
}

/// The shared client, once it has heard of the schemas.
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

/// Lets the client deliver all that is queued.
inline void drain(ZentaraClient& client) {
    while (fetch(client) == BackgroundFetchResult::newData) {
    }
}

}  // namespace zentara::test
