#include "support/ProcessExit.h"

#include <cstdlib>
#include <vector>

#include "support/ForkedChild.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"

namespace zentara {

namespace {

struct ExitWork {
    Mutex mutex;
    std::vector<void (*)()> work ZENTARA_GUARDED_BY(mutex);
};

ExitWork& exitWork() {
    static NoDestructor<ExitWork> instance;
    return *instance;
}

void runLatest() {
    // Asked first, as the lock may have been held when the process was forked.
    if (isForkedChild()) return;
    void (*latest)() = nullptr;
    {
        const MutexLock lock(exitWork().mutex);
        if (exitWork().work.empty()) return;
        latest = exitWork().work.back();
        exitWork().work.pop_back();
    }
    latest();
}

}  // namespace

void runAtExit(void (*work)()) {
    {
        const MutexLock lock(exitWork().mutex);
        exitWork().work.push_back(work);
    }
    // One entry each, so that the order among other libraries' clean-ups is that of registration.
    std::atexit(runLatest);
}

}  // namespace zentara
