#pragma once

#include <filesystem>

#include "dispatch/EventsRepository.h"

namespace zentara {

/// Takes into a queue what lies beside its file and could not be read when its time was. Each file
/// is removed when its events are in the queue and on the device; one that still cannot be read
/// stays for the next start. For the start, before the first event is dispatched.
void takeInLeftovers(EventsRepository& queue, const std::filesystem::path& file);

}  // namespace zentara
