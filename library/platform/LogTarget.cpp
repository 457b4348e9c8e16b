#include "platform/LogTarget.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <utility>

#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/Process.h"
#include "support/threads/CallbackScope.h"
#include "support/threads/HeldFunctions.h"
#include "support/threads/WorkerPool.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

struct LogTarget {
    LogLevel least = LogLevel::info;
    LogSink sink;
};

struct LogState {
    Mutex mutex;
    std::shared_ptr<const LogTarget> target ZENTARA_GUARDED_BY(mutex);

    [[nodiscard]] std::shared_ptr<const LogTarget> current() {
        const MutexLock lock(mutex);
        return target;
    }
};

LogState& state() {
    static NoDestructor<LogState> instance;
    return *instance;
}

constexpr std::size_t mostWaiting = 1000;

// Constant-initialised: lines may come before main and while the process ends.
constinit std::atomic<bool> hasSink = false;
constinit std::atomic<std::size_t> waiting = 0;
thread_local bool isInSink = false;

/// In valid UTF-8, with a space for each control character, U+0080 to U+009F included.
std::string printable(std::string_view line) {
    auto text = withValidUTF8(std::string(line));
    std::size_t end = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool isLong =
            byte == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xA0;
        text[end++] = isLong || byte < 0x20 || byte == 0x7F ? ' ' : text[i];
        if (isLong) ++i;
    }
    text.resize(end);
    return text;
}

std::string_view withoutNames(std::string_view line, std::string_view component) {
    for (const auto name : {std::string_view("ZentaraClient"), component}) {
        if (line.starts_with(name) && line.substr(name.size()).starts_with(": ")) {
            line.remove_prefix(name.size() + 2);
        }
    }
    return line;
}

void call(const LogTarget& target, const LogLine& line) noexcept {
    const CallbackScope scope;
    isInSink = true;
    try {
        target.sink(line);
    } catch (...) {
        // The exception is the host's. Printing it would break the silence that a sink promises.
    }
    isInSink = false;
}

}  // namespace

void setLogSink(LogLevel least, LogSink sink) {
    if (isForkedChild()) return;
    std::shared_ptr<const LogTarget> next;
    if (sink)
        next = std::make_shared<const LogTarget>(
            LogTarget{least, HeldFunctions::shared().hold(std::move(sink))});
    const MutexLock lock(state().mutex);
    state().target.swap(next);
    hasSink = state().target != nullptr;
}

bool handToSink(LogLevel level, std::string_view component, std::string_view line) {
    if (!hasSink) return false;
    if (isInSink || isForkedChild()) return true;
    const auto target = state().current();
    if (!target) return false;
    if (level < target->least) return true;
    LogLine logLine{level, std::string(component), printable(withoutNames(line, component))};
    if (++waiting > mostWaiting) {
        --waiting;
        return true;
    }
    // The sink is looked up when it is called: a line that waits holds nothing of the host's.
    Strand::forLogLines().async([logLine = std::move(logLine)] {
        --waiting;
        const auto now = state().current();
        if (now && logLine.level >= now->least) call(*now, logLine);
    });
    return true;
}

bool handFatalLineToSink(std::string_view cause) noexcept {
    if (!hasSink) return false;
    // The failing thread itself may hold the lock.
    if (isInSink || isForkedChild() || !state().mutex.try_lock()) return true;
    const auto target = state().target;
    state().mutex.unlock();
    if (!target) return false;
    try {
        if (target->least <= LogLevel::fatal) {
            call(*target, {LogLevel::fatal, "client", printable(cause)});
        }
    } catch (...) {
        // There is no memory for the line.
    }
    return true;
}

}  // namespace zentara
