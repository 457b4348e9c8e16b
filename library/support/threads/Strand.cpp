#include <optional>

#include "support/threads/CallbackScope.h"
#include "support/threads/WorkerPool.h"

namespace zentara {

Strand& Strand::forHostCallbacks() {
    static NoDestructor<Strand> strand(Runs::hostCallbacks);
    return *strand;
}

Strand& Strand::forLogLines() {
    static NoDestructor<Strand> strand;
    return *strand;
}

void Strand::async(Work work) {
    const MutexLock lock(mutex_);
    works_.push_back(std::move(work));
    if (!std::exchange(isRunning_, true)) runLater();
}

void Strand::runNext() {
    Work work;
    {
        const MutexLock lock(mutex_);
        work = std::move(works_.front());
        works_.pop_front();
    }
    {
        std::optional<CallbackScope> scope;
        if (runs_ == Runs::hostCallbacks) scope.emplace();
        work();
        // Its captures are destroyed before the next work begins.
        work = nullptr;
    }
    // Through the pool again, which starts nothing while the process ends.
    const MutexLock lock(mutex_);
    isRunning_ = !works_.empty();
    if (isRunning_) runLater();
}

void Strand::runLater() {
    WorkerPool::shared().async([this] { runNext(); });
}

}  // namespace zentara
