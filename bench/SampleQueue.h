#pragma once

#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <utility>

#include "Samples.h"
#include "dispatch/EventsRepository.h"
#include "dispatch/storage/InternalEventStorageImpl.h"
#include "support/SampleEvents.h"

namespace zentara::bench {

/// A stamped event with the sample of 20 properties.
inline InternalEvent sampleEvent(std::int64_t number) {
    return test::sampleEvent(number, {{"type", "Anonymous"}, {"token", "Anonymous"}},
                             twentyProperties().valid.object());
}

/// A file of the given number of events.
inline std::string queueText(std::int64_t count) {
    std::string text = "[";
    for (std::int64_t number = 0; number < count; ++number) {
        if (number > 0) text += ',';
        text += *sampleEvent(number).jsonText();
    }
    return text + "]";
}

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

/// A store without background work, so that only the caller's cost is measured.
inline std::shared_ptr<InternalEventStorageImpl> quietStorage(const std::string& name) {
    auto storage =
        InternalEventStorageImpl::create(systemFiles(), name, std::chrono::hours(1),
                                         [](std::chrono::steady_clock::duration, const auto&) {});
    storage->recover();
    return storage;
}

/// A repository of the given number of events, whose spare file is up to date.
inline std::unique_ptr<EventsRepository> queueOf(std::int64_t count, const std::string& name,
                                                 const std::string& path,
                                                 std::int64_t maxEvents = 8000) {
    ::unlink(path.c_str());
    writeFile(path, queueText(count));
    auto repository =
        std::make_unique<EventsRepository>(maxEvents, quietStorage(name), Ledger::shared().queue);
    // The first two saves write both files completely.
    for (int i = 0; i < 2; ++i)
        repository->add(sampleEvent(count + i), nullptr);
    return repository;
}

}  // namespace zentara::bench
