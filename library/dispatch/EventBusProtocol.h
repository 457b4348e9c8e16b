#pragma once

#include <functional>
#include <string>
#include <utility>

#include "model/InternalEvent.h"
#include "support/Status.h"

namespace zentara {

/// A failure of the event bus itself.
class EventBusError final : public Error {
  public:
    enum class Case {
        clientNotInitialized,  ///< no settings were given
        idManagerNotReady,     ///< there is no identity to send for yet
        invalidJSONFormat,     ///< the envelope has no JSON form
        enqueueError,          ///< the event could not be stored
        queueClosed,           ///< the queue takes no events
    };

    explicit EventBusError(Case errorCase) : case_(errorCase) {}

    [[nodiscard]] Case errorCase() const noexcept { return case_; }
    [[nodiscard]] std::string description() const override;

    friend bool operator==(const EventBusError& one, const EventBusError& other) noexcept {
        return one.case_ == other.case_;
    }

  private:
    Case case_;
};

/// The outcome of one attempt to deliver a batch.
class DispatchResult {
  public:
    enum class Kind { failure, emptyRepository, success };

    [[nodiscard]] static DispatchResult success() { return DispatchResult(Kind::success, nullptr); }
    [[nodiscard]] static DispatchResult emptyRepository() {
        return DispatchResult(Kind::emptyRepository, nullptr);
    }
    /// `status` is not ok.
    [[nodiscard]] static DispatchResult failure(const Status& status) {
        return DispatchResult(Kind::failure, status.error());
    }

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    /// The cause of a failure; null otherwise.
    [[nodiscard]] const ErrorRef& error() const noexcept { return error_; }

    /// Failures are equal when their errors say the same.
    friend bool operator==(const DispatchResult& one, const DispatchResult& other) {
        if (one.kind_ != other.kind_) return false;
        return !one.error_ || one.error_->description() == other.error_->description();
    }

  private:
    DispatchResult(Kind kind, ErrorRef error) : kind_(kind), error_(std::move(error)) {}

    Kind kind_;
    ErrorRef error_;
};

/// Moves queued events to the collector. Safe for use from any thread.
class EventBusProtocol {
  public:
    using EnqueueCompletion = std::function<void(const Status&)>;
    using DispatchCompletion = std::function<void(const DispatchResult&)>;

    virtual ~EventBusProtocol() = default;

    /// Appends an event to the queue and reports before it returns, under the queue's lock. A
    /// failure is `EventBusError::Case::enqueueError`, or `queueClosed` while the queue is closed.
    virtual void enqueue(const InternalEvent& event, const EnqueueCompletion& completion) = 0;

    /// Tries once to deliver one batch. The completion, which may be null, is called once, on a
    /// worker or before this returns.
    virtual void dispatch(DispatchCompletion completion) = 0;

    /// Starts the dispatch timer unless it runs.
    virtual void startTicking() = 0;
};

}  // namespace zentara
