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

/// The reporters of a component that have failed, and its last failure.
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

    /// True when no other reporter of the component has failed.
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
    /// Also held while a line is printed, so that lines come in the order of the failures.
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

/// The part of an error that identifies its cause.
std::string causeOf(const Error& error) {
    const auto* failure = dynamic_cast<const PlatformError*>(&error);
    if (failure != nullptr && failure->domain() == PlatformError::Domain::file &&
        failure->code() != 0) {
        return std::to_string(failure->code());
    }
    return error.description();
}

/// On one line, without control characters.
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
        // The failure still shows in the statistics.
    }
}

}  // namespace

ComponentFailure lastFailure(Component component) noexcept {
    auto& all = states();
    // In a forked child, a thread of the parent may hold the lock for ever.
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
        // The time and the count are still reported.
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
