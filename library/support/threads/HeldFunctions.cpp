#include "support/threads/HeldFunctions.h"

namespace zentara {

HeldFunctions& HeldFunctions::shared() {
    static NoDestructor<HeldFunctions> instance;
    return *instance;
}

void HeldFunctions::add(std::int64_t more) {
    const MutexLock lock(mutex_);
    count_ += more;
    if (count_ == 0) none_.notify_all();
}

bool HeldFunctions::waitForNone(std::chrono::steady_clock::time_point end) {
    const MutexLock lock(mutex_);
    while (count_ != 0) {
        if (none_.wait_until(mutex_, end) == std::cv_status::timeout) return count_ == 0;
    }
    return true;
}

}  // namespace zentara
