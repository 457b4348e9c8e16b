#include "dispatch/storage/EventTexts.h"

#include <algorithm>

namespace zentara {

InternalEvent EventTexts::packed(const InternalEvent& event) {
    const auto text = event.text();
    if (text.json.empty() || text.json.size() > longestText) return event.packed();
    if (!block_ || blockSize - used_ < text.json.size() + 1) {
        // Not filled with zeros, so that the pages of an almost empty block take no memory.
        block_ = std::shared_ptr<char[]>(new char[blockSize]);
        used_ = 0;
    }
    // Other threads may be reading what was put here before, but nothing behind it.
    char* const start = block_.get() + used_;
    *std::copy(text.json.begin(), text.json.end(), start) = ',';
    used_ += text.json.size() + 1;
    return InternalEvent::fromText(block_, {{start, text.json.size()}, text.userOffset});
}

}  // namespace zentara
