#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "dispatch/Storage.h"

namespace zentara::test {

/// What outlives a store in memory, as the file outlives the real one.
struct MemoryDisk {
    std::vector<InternalEvent> events;
};

/// The twin of the file store.
class MemoryEventStorage final : public InternalEventStorage {
  public:
    explicit MemoryEventStorage(std::shared_ptr<MemoryDisk> disk) : disk_(std::move(disk)) {}

    [[nodiscard]] ErrorRef save(const EventList& events) override {
        disk_->events.assign(events.events().begin(), events.events().end());
        return nullptr;
    }
    Loaded<InternalEvent> load() override { return {disk_->events, nullptr, true}; }

  private:
    std::shared_ptr<MemoryDisk> disk_;
};

}  // namespace zentara::test
