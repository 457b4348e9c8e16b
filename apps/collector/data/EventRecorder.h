#pragma once

#include <filesystem>
#include <fstream>
#include <mutex>
#include <string>
#include <vector>

#include "collector/data/Store.h"

namespace zentara::collector {

/// Appends received events to a file, one JSON line each. The lines of an envelope stand together
/// and have reached the operating system when `append` returns. Any thread.
class EventRecorder {
  public:
    /// Throws `std::runtime_error` when the file cannot be opened.
    explicit EventRecorder(const std::filesystem::path& file);
    EventRecorder(const EventRecorder&) = delete;
    EventRecorder& operator=(const EventRecorder&) = delete;

    /// Tells whether everything was written.
    [[nodiscard]] bool append(const std::vector<Store::Arrival>& events);

  private:
    std::mutex mutex_;
    std::ofstream stream_;  // guarded by mutex_
};

}  // namespace zentara::collector
