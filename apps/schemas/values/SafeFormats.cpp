#include "schemas/values/SafeFormats.h"

#include <vector>

namespace zentara::schemas {

std::span<const Format> safeFormats() {
    static const auto formats = [] {
        std::vector<Format> copies(standardFormats().begin(), standardFormats().end());
        for (auto& format : copies) {
            if (format.otherKinds == Format::OtherKinds::fatal)
                format.otherKinds = Format::OtherKinds::stopping;
        }
        return copies;
    }();
    return formats;
}

}  // namespace zentara::schemas
