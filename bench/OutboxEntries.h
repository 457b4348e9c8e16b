#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "collector/forward/Outbox.h"

namespace zentara::bench {

inline constexpr int envelopes = 5000;
inline constexpr int eventsPerEnvelope = 10;
inline constexpr int events = envelopes * eventsPerEnvelope;

inline std::string eventText(int number) {
    const std::string text = std::to_string(number);
    return R"({"id":"page-view","version":"1","url":"https://shop.example/a/)" + text +
           R"(","contentType":"application/json","properties":{"title":"A page about )" + text +
           R"(","section":"home","language":"en","loadMs":1200,"experiments":["new-search:variant-b","free-shipping:control"]},)"
           R"("actionTs":1700000000000,"zentaraClientVersion":"1.2.3","zentaraClientReferer":"",)"
           R"("zentaraRelationId":null,"zentaraClientContextID":"context","zentaraActionSequence":)" +
           text + R"(,"zentaraActionUUID":")" + text + R"(","zentaraActionExtraAttributes":""})";
}

inline constexpr const char* eventFacts =
    R"("receivedAt":1700000000123,"clientUUID":"0b7e6d1c-58a3-4a0e-9a64-0c9d7f6d1a11","tenant":"shop",)"
    R"("clientType":"mobile","deviceGroup":"iOS","environment":"app","clientTs":1700000000100,)"
    R"("dispatchNumber":3,"actionCounter":10,"userAgent":"shop 1.2.3","cookie":"","user":null)";

/// Envelopes of 100 clients, as the collector adds them to its outbox.
inline std::vector<collector::Outbox::Entry> makeEntries() {
    std::vector<collector::Outbox::Entry> entries;
    int number = 0;
    for (int i = 0; i < envelopes; ++i) {
        auto envelope = std::make_shared<collector::Envelope>();
        envelope->clientUUID = "client-" + std::to_string(i % 100);
        envelope->tenant = "shop";
        for (int k = 0; k < eventsPerEnvelope; ++k, ++number) {
            envelope->actions.push_back({.schema = "page-view-1",
                                         .uuid = std::to_string(number),
                                         .contextID = "context",
                                         .sequence = number,
                                         .actionTs = 1'700'000'000'000,
                                         .json = eventText(number)});
        }
        entries.push_back({.receivedAt = 1'700'000'000'123,
                           .user = {},
                           .facts = eventFacts,
                           .findings = std::vector<std::string>(eventsPerEnvelope, "[]"),
                           .envelope = std::move(envelope)});
    }
    return entries;
}

}  // namespace zentara::bench
