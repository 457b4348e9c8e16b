#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "dispatch/Storage.h"
#include "platform/PlatformError.h"

namespace zentara::test {

/// What outlives a store in memory, as the file outlives the real one.
struct MemoryDisk {
    std::vector<InternalEvent> events;
    bool isBroken = false;  ///< every operation fails
};

/// The twin of the file store.
class MemoryEventStorage final : public InternalEventStorage {
  public:
    explicit MemoryEventStorage(std::shared_ptr<MemoryDisk> disk) : disk_(std::move(disk)) {}

    [[nodiscard]] ErrorRef save(const EventList& events) override {
        if (disk_->isBroken) return error();
        disk_->events.assign(events.events().begin(), events.events().end());
        return nullptr;
    }
    Loaded<InternalEvent> load() override {
        if (disk_->isBroken) return {{}, error(), true};
        return {disk_->events, nullptr, true};
    }

  private:
    static ErrorRef error() {
        return std::make_shared<PlatformError>(PlatformError::Domain::file, 5, "broken on purpose");
    }

    std::shared_ptr<MemoryDisk> disk_;
};

}  // namespace zentara::test
