#include "support/FailureReporter.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <new>
#include <utility>

#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"
#include "support/Process.h"

namespace zentara {

/// The failing reporters of one component, and its last failure.
struct ComponentState {
    ComponentFailure last;
    FailureReporter* failing = nullptr;

    [[nodiscard]] bool hasCause(const std::string& cause) const {
        const auto* reporter = failing;
        while (reporter != nullptr && reporter->cause_ != cause)
            reporter = reporter->next_;
        return reporter != nullptr;
    }

    void add(FailureReporter& reporter) noexcept {
        if (reporter.isFailing_) return;
        reporter.next_ = std::exchange(failing, &reporter);
        reporter.isFailing_ = true;
    }

    /// Whether `reporter` was the last one that failed.
    bool remove(FailureReporter& reporter) noexcept {
        if (!reporter.isFailing_) return false;
        auto** link = &failing;
        while (*link != &reporter)
            link = &(*link)->next_;
        *link = reporter.next_;
        reporter.isFailing_ = false;
        if (failing == nullptr) last.inARow = 0;
        return failing == nullptr;
    }
};

namespace {

struct States {
    /// Held while a line is printed too, so that lines come in the order of what they report.
    /// Taken before `mutex`.
    Mutex printing;
    Mutex mutex;
    std::array<ComponentState, componentNames.size()> components ZENTARA_GUARDED_BY(mutex);

    [[nodiscard]] ComponentState& at(Component component) ZENTARA_REQUIRES(mutex) {
        return components[static_cast<std::size_t>(component)];
    }
};

States& states() noexcept {
    static NoDestructor<States> instance;
    return *instance;
}

/// What stays the same while the same thing goes wrong.
std::string causeOf(const Error& error) {
    const auto* failure = dynamic_cast<const PlatformError*>(&error);
    if (failure != nullptr && failure->domain() == PlatformError::Domain::file &&
        failure->code() != 0) {
        return std::to_string(failure->code());
    }
    return error.description();
}

/// In one line, and without what a terminal would obey.
std::string printable(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; }, ' ');
    return text;
}

void print(Component component, const std::string& text) noexcept {
    try {
        printWarning(std::string("ZentaraClient: ") +
                     componentNames[static_cast<std::size_t>(component)] + text);
    } catch (const std::bad_alloc&) {
        // The statistics tell still.
    }
}

}  // namespace

ComponentFailure lastFailure(Component component) noexcept {
    auto& all = states();
    // A thread of the parent may have held the lock at the fork.
    if (!isForkedChild()) {
        all.mutex.lock();
    } else if (!all.mutex.try_lock()) {
        return {};
    }
    const auto& last = all.at(component).last;
    ComponentFailure copy{"", last.time, last.inARow};
    try {
        copy.text = last.text;
    } catch (const std::bad_alloc&) {
        // Counts and times are better than nothing.
    }
    all.mutex.unlock();
    return copy;
}

bool isFailing(Component component) noexcept {
    auto& all = states();
    const MutexLock lock(all.mutex);
    return all.at(component).failing != nullptr;
}

FailureReporter::FailureReporter(Component component, std::string subject)
    : component_(component), subject_(std::move(subject)) {}

FailureReporter::~FailureReporter() {
    if (!isFailing_) return;
    auto& all = states();
    const MutexLock lock(all.mutex);
    all.at(component_).remove(*this);
}

void FailureReporter::reportFailure(const Error& error) noexcept {
    using namespace std::chrono;
    const auto now = system_clock::now().time_since_epoch();
    std::string text;
    std::string cause;
    std::string line;
    try {
        cause = causeOf(error);
        text = printable(subject_.empty() ? error.description()
                                          : subject_ + ": " + error.description());
        line = ": " + text;
    } catch (const std::bad_alloc&) {
        line.clear();
    }
    auto& all = states();
    const MutexLock printing(all.printing);
    {
        const MutexLock lock(all.mutex);
        auto& component = all.at(component_);
        if (component.hasCause(cause)) line.clear();
        component.last.text = std::move(text);
        component.last.time = duration_cast<milliseconds>(now).count();
        ++component.last.inARow;
        cause_ = std::move(cause);
        component.add(*this);
    }
    if (!line.empty()) print(component_, line);
}

void FailureReporter::reportSuccess() noexcept {
    auto& all = states();
    const MutexLock printing(all.printing);
    bool hasRecovered = false;
    {
        const MutexLock lock(all.mutex);
        hasRecovered = all.at(component_).remove(*this);
    }
    if (hasRecovered) print(component_, ": recovered");
}

}  // namespace zentara
