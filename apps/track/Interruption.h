#pragma once

#include <cstddef>

namespace zentara::track {

/// Lets SIGINT and SIGTERM print the last line that was sent and the number of queued events before
/// they end the process. Call it before any other thread starts. A signal that is ignored stays
/// ignored.
void reportInterruptions();

/// Sets the last line that was sent. Any thread.
void noteSentLine(std::size_t number) noexcept;

}  // namespace zentara::track
