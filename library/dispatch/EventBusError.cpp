#include "dispatch/EventBusError.h"

namespace zentara {

std::string EventBusError::description() const {
    switch (case_) {
        case Case::clientNotInitialized:
            return "the client is not initialized";
        case Case::idManagerNotReady:
            return "there is no identity yet";
        case Case::invalidJSONFormat:
            return "the envelope cannot be turned into JSON";
        case Case::enqueueError:
            return "the event cannot be stored";
    }
    return "unknown";
}

}  // namespace zentara
