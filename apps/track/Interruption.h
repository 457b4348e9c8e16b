#pragma once

#include <cstddef>

namespace zentara::track {

/// Lets SIGINT and SIGTERM end the process with a line that tells how far it has come and what
/// waits where. To be called before any other thread is started; a signal that is ignored stays so.
void reportInterruptions();

/// Notes that the lines up to `number` have been sent. Any thread.
void noteSentLine(std::size_t number) noexcept;

}  // namespace zentara::track
