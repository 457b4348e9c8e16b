#include "support/ControlTime.h"

#include "support/MonotonicClock.h"
#include "support/NoDestructor.h"

namespace zentara {

const ControlTime& ControlTime::shared() {
    static NoDestructor<ControlTime> instance;
    return *instance;
}

std::uint64_t ControlTime::currentMonotonicValue() const {
    return rawMonotonicNanoseconds() / 100;
}

}  // namespace zentara
