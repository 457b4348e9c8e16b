#pragma once

#include <filesystem>
#include <mutex>
#include <string>
#include <vector>

#include "collector/data/Store.h"

namespace zentara::collector {

/// Appends received events to a file, one JSON line each. The lines of an envelope are written
/// together and have reached the operating system when `append` returns; if there is no room for
/// all of them, none is kept. Envelopes that arrive at the same time may be written in another
/// order than that of their events' numbers. Any thread.
class EventRecorder {
  public:
    /// Throws `std::runtime_error` if the file cannot be opened.
    explicit EventRecorder(const std::filesystem::path& file);
    EventRecorder(const EventRecorder&) = delete;
    EventRecorder& operator=(const EventRecorder&) = delete;
    ~EventRecorder();

    /// Whether everything was written.
    [[nodiscard]] bool append(const std::vector<Store::Arrival>& events);

  private:
    const int descriptor_;
    std::mutex mutex_;  // one envelope at a time
};

}  // namespace zentara::collector
