#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <string>

#include "support/Status.h"

namespace zentara {

/// The parts of the library that report failures separately.
enum class Component { schemas, identity, delivery, storage };
inline constexpr std::array<const char*, 4> componentNames{"schemas", "identity", "delivery",
                                                           "storage"};

/// The last failure of a component.
struct ComponentFailure {
    std::string text;         ///< empty before the first failure, and when there is no memory
    std::int64_t time = 0;    ///< milliseconds since 1970-01-01 UTC
    std::int64_t inARow = 0;  ///< 0 before the first failure, and when the component has recovered
};

/// The last failure of `component`. Any thread.
[[nodiscard]] ComponentFailure lastFailure(Component component) noexcept;

/// Whether a reporter of `component` has a failure and no success since. Any thread.
[[nodiscard]] bool isFailing(Component component) noexcept;

/// Reports the outcome of one operation that a component repeats.
///
/// A failure with a new cause prints one warning. When the last failing reporter of
/// the component succeeds, another line says so. The cause of a file error is its code, so that a
/// full disk is one cause for all files.
///
/// Safe for use from any thread, also under a lock: it takes only locks of its own. A success after
/// a success is one atomic load.
class FailureReporter {
  public:
    /// `subject` names the file or operation within the component; may be empty.
    explicit FailureReporter(Component component, std::string subject = "");
    /// Withdraws the failure without printing.
    ~FailureReporter();

    /// The text of an error must not hold a token, cookie, password or property.
    void report(const Status& outcome) noexcept {
        if (!outcome.ok()) {
            reportFailure(*outcome.error());
        } else if (isFailing_.load(std::memory_order_relaxed)) {
            reportSuccess();
        }
    }

  private:
    friend struct ReporterList;

    void reportFailure(const Error& error) noexcept;
    void reportSuccess() noexcept;

    const Component component_;
    const std::string subject_;
    std::atomic<bool> isFailing_ = false;  // written with the list of all reporters locked
    std::string cause_;                    // guarded likewise
};

}  // namespace zentara
