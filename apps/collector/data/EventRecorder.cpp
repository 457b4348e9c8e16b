#include "collector/data/EventRecorder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>
#include <string_view>

namespace zentara::collector {

namespace {

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const auto count = ::write(descriptor, text.data(), text.size());
        if (count > 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (count == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

}  // namespace

EventRecorder::EventRecorder(const std::filesystem::path& file)
    : descriptor_(::open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0) throw std::runtime_error(file.string() + " cannot be opened");
}

EventRecorder::~EventRecorder() {
    ::close(descriptor_);
}

bool EventRecorder::append(const std::vector<Store::Arrival>& events) {
    std::string lines;
    for (const auto& event : events) {
        lines += event.record;
        lines += '\n';
    }
    const std::lock_guard lock(mutex_);
    // Read each time, since another process may have truncated the file.
    struct stat before {};
    const bool isFile = ::fstat(descriptor_, &before) == 0 && S_ISREG(before.st_mode);
    if (writeAll(descriptor_, lines)) return true;
    // Truncating works on a full disk. If it fails, a part of the lines stays.
    if (isFile) (void)!::ftruncate(descriptor_, before.st_size);
    return false;
}

}  // namespace zentara::collector
