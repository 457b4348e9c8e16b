#include "support/ControlTime.h"

#include "support/MonotonicClock.h"

namespace zentara {

const ControlTime& ControlTime::shared() {
    static const auto* const instance = new ControlTime;
    return *instance;
}

std::uint64_t ControlTime::currentMonotonicValue() const {
    return rawMonotonicNanoseconds() / 100;
}

}  // namespace zentara
