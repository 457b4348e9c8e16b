#pragma once

#include <string>
#include <vector>

#include "dispatch/EventsRepository.h"

namespace zentara {

/// Where this process keeps its queues, as the beginning of their names in the documents directory:
/// nothing in the first process that works there, and a folder of its own, such as "process-2/",
/// in one that finds another at work. The answer stays the same as long as the process lives.
[[nodiscard]] std::string processFolder();

/// A queue of the documents directory itself.
struct MainQueue {
    std::string name;
    EventsRepository& events;
};

/// Takes what ended processes have left in folders of their own into the queues of the documents
/// directory, and removes those folders. Only for the process that works in that directory.
void takeInProcessFolders(const std::vector<MainQueue>& queues, const std::string& tokenName);

}  // namespace zentara
