#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dispatch/QueueOpening.h"

namespace zentara::test {

/// A stamped event as the client makes it. `number` identifies it.
inline InternalEvent sampleEvent(std::int64_t number,
                                 StringMap user = {{"type", "Anonymous"}, {"token", "Anonymous"}},
                                 JSONObject properties = {{"title", "Home / \"start\" \\ \n"},
                                                          {"price", 5.0},
                                                          {"tags", {"a", 1, nullptr}}}) {
    InternalEvent::Fields fields;
    fields.id = "page-view";
    fields.version = "1";
    fields.url = "https://example.com/" + std::to_string(number);
    fields.contentType = "application/json";
    fields.properties = std::make_shared<const JSONValue>(std::move(properties));
    fields.createdAt = 1'700'000'000'000 + number;
    fields.clientVersion = "1.2.3";
    fields.referer = "https://example.com/";
    fields.user = std::move(user);
    fields.zentaraClientContextID = "context";
    fields.zentaraActionSequence = number;
    fields.zentaraActionUUID = "uuid-" + std::to_string(number);
    return InternalEvent(std::move(fields));
}

inline std::vector<InternalEvent> sampleEvents(std::int64_t first, std::int64_t count) {
    std::vector<InternalEvent> events;
    for (auto number = first; number < first + count; ++number)
        events.push_back(sampleEvent(number));
    return events;
}

/// A queue of the next process, which gives its background work to `scheduler`.
inline std::unique_ptr<EventsRepository> openSampleQueue(
    Ledger::Queue& counts, FileSystem& files = systemFiles(), const std::string& name = "queue",
    InternalEventStorageImpl::Scheduler scheduler = [](auto, auto) {}) {
    return openQueue(files, name, {8000, 10, {}, std::move(scheduler)}, counts);
}

/// The sequence numbers of events, in their order.
template <typename Events>
std::vector<std::int64_t> numbersOf(const Events& events) {
    std::vector<std::int64_t> numbers;
    for (const auto& event : events)
        numbers.push_back(event.fields().zentaraActionSequence);
    return numbers;
}

/// The file that holds these events.
template <typename Events>
std::string fileOf(const Events& events) {
    std::string text = "[";
    for (const auto& event : events) {
        if (text.size() > 1) text += ',';
        text += event.jsonText().value();
    }
    return text + "]";
}

}  // namespace zentara::test
