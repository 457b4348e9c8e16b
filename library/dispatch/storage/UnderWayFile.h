#pragma once

#include <filesystem>
#include <string_view>

#include "dispatch/storage/Storage.h"
#include "model/InternalEvent.h"
#include "support/FailureReporter.h"

namespace zentara {

/// Keeps the events that have left a queue and may come back to it, in a hidden file beside the
/// queue's, `.N.under-way` for a queue named N: one compact JSON array, whole at every moment, and
/// no file while there are none. Survives the end of the process by any means; not flushed.
class UnderWayFile final : public Storage<InternalEvent> {
  public:
    explicit UnderWayFile(std::string_view queueName);

    [[nodiscard]] ErrorRef save(std::span<const InternalEvent> events) override;

    /// What the last run left. A file that cannot be read is moved out of the way of the next save;
    /// if that fails, nothing is saved, as that would destroy it.
    Loaded<InternalEvent> load() override;

  private:
    [[nodiscard]] ErrorRef write(std::span<const InternalEvent> events);

    const std::filesystem::path queue_;
    const std::filesystem::path path_;
    ErrorRef inTheWay_;
    FailureReporter failures_;
};

}  // namespace zentara
