#include "support/FailureReporter.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "support/Diagnostics.h"
#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "support/PlatformError.h"
#include "support/Process.h"

namespace zentara {

/// The reporters that exist, and the last failure of each component.
struct ReporterList {
    /// Also held while a line is printed, so that lines come in the order of the failures.
    /// Taken before `mutex`.
    Mutex printing;
    Mutex mutex;
    std::vector<FailureReporter*> reporters ZENTARA_GUARDED_BY(mutex);
    std::array<ComponentFailure, componentNames.size()> failures ZENTARA_GUARDED_BY(mutex);

    static ReporterList& shared() noexcept {
        static NoDestructor<ReporterList> instance;
        return *instance;
    }

    [[nodiscard]] ComponentFailure& lastFailure(Component component) ZENTARA_REQUIRES(mutex) {
        return failures[static_cast<std::size_t>(component)];
    }

    /// Whether a reporter of `component` has failed, for `cause` if there is one.
    [[nodiscard]] bool isFailing(Component component, const std::string* cause = nullptr) const
        ZENTARA_REQUIRES(mutex) {
        return std::ranges::any_of(reporters, [&](const auto* reporter) {
            return reporter->component_ == component && reporter->isFailing_ &&
                   (cause == nullptr || reporter->cause_ == *cause);
        });
    }

    /// Withdraws a failure. True when no other reporter of the component has failed.
    bool recover(FailureReporter& reporter) noexcept ZENTARA_REQUIRES(mutex) {
        if (!reporter.isFailing_.exchange(false) || isFailing(reporter.component_)) return false;
        lastFailure(reporter.component_).inARow = 0;
        return true;
    }
};

namespace {

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
        const std::string name = componentNames[static_cast<std::size_t>(component)];
        printWarning("ZentaraClient: " + name + text, name);
    } catch (const std::bad_alloc&) {
        // The failure still shows in the statistics.
    }
}

}  // namespace

ComponentFailure lastFailure(Component component) noexcept {
    auto& all = ReporterList::shared();
    // In a forked child, a thread of the parent may hold the lock for ever.
    if (!isForkedChild()) {
        all.mutex.lock();
    } else if (!all.mutex.try_lock()) {
        return {};
    }
    const auto& last = all.lastFailure(component);
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
    auto& all = ReporterList::shared();
    const MutexLock lock(all.mutex);
    return all.isFailing(component);
}

FailureReporter::FailureReporter(Component component, std::string subject)
    : component_(component), subject_(std::move(subject)) {
    auto& all = ReporterList::shared();
    const MutexLock lock(all.mutex);
    all.reporters.push_back(this);
}

FailureReporter::~FailureReporter() {
    auto& all = ReporterList::shared();
    const MutexLock lock(all.mutex);
    std::erase(all.reporters, this);
    all.recover(*this);
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
    auto& all = ReporterList::shared();
    const MutexLock printing(all.printing);
    {
        const MutexLock lock(all.mutex);
        if (all.isFailing(component_, &cause)) line.clear();
        auto& last = all.lastFailure(component_);
        last.text = std::move(text);
        last.time = duration_cast<milliseconds>(now).count();
        ++last.inARow;
        cause_ = std::move(cause);
        isFailing_ = true;
    }
    if (!line.empty()) print(component_, line);
}

void FailureReporter::reportSuccess() noexcept {
    auto& all = ReporterList::shared();
    const MutexLock printing(all.printing);
    bool hasRecovered = false;
    {
        const MutexLock lock(all.mutex);
        hasRecovered = all.recover(*this);
    }
    if (hasRecovered) print(component_, ": recovered");
}

}  // namespace zentara
