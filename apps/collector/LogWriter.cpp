#include "collector/LogWriter.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <utility>

namespace zentara::collector {

namespace {

// While the descriptor takes nothing, the end of the writer is noticed after this time.
constexpr int patience = 50;  // milliseconds

}  // namespace

LogWriter::LogWriter(int descriptor, DroppedLine droppedLine)
    : descriptor_(descriptor), droppedLine_(std::move(droppedLine)), thread_([this] { run(); }) {}

LogWriter::~LogWriter() {
    {
        const std::lock_guard lock(mutex_);
        hasEnded_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void LogWriter::add(const std::string& lines) {
    {
        const std::lock_guard lock(mutex_);
        if (unwritten_.size() + lines.size() > mostUnwritten) {
            dropped_ += static_cast<std::size_t>(std::count(lines.begin(), lines.end(), '\n'));
            return;
        }
        unwritten_ += lines;
    }
    changed_.notify_one();
}

bool LogWriter::isEnding() {
    const std::lock_guard lock(mutex_);
    return hasEnded_;
}

void LogWriter::run() {
    for (;;) {
        std::string text;
        {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return hasEnded_ || !unwritten_.empty(); });
            text.swap(unwritten_);
            if (const auto lines = std::exchange(dropped_, 0); lines > 0) {
                text += droppedLine_(lines);
            }
            if (text.empty()) return;
        }
        if (!write(text)) return;
    }
}

bool LogWriter::write(const std::string& text) {
    std::size_t written = 0;
    while (written < text.size()) {
        pollfd descriptor{descriptor_, POLLOUT, 0};
        if (::poll(&descriptor, 1, patience) <= 0) {
            if (isEnding()) return false;
            continue;
        }
        // A writable pipe takes this much without blocking.
        const std::size_t size = std::min<std::size_t>(text.size() - written, PIPE_BUF);
        const ssize_t count = ::write(descriptor_, text.data() + written, size);
        if (count < 0 && errno != EINTR && errno != EAGAIN) return false;
        if (count > 0) written += static_cast<std::size_t>(count);
    }
    return true;
}

}  // namespace zentara::collector
