#include "collector/data/EventRecorder.h"

#include <stdexcept>

namespace zentara::collector {

EventRecorder::EventRecorder(const std::filesystem::path& file)
    : stream_(file, std::ios::binary | std::ios::app) {
    if (!stream_.is_open()) throw std::runtime_error(file.string() + " cannot be opened");
}

bool EventRecorder::append(const std::vector<Store::Arrival>& events) {
    std::string lines;
    for (const auto& event : events) {
        lines += event.record;
        lines += '\n';
    }
    const std::lock_guard lock(mutex_);
    stream_.clear();
    stream_.write(lines.data(), static_cast<std::streamsize>(lines.size()));
    stream_.flush();
    return stream_.good();
}

}  // namespace zentara::collector
