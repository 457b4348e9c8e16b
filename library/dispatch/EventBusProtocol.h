#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <utility>

#include <zentara/Delivery.h>
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
        paused,                ///< the host has paused delivery
        notPermitted,          ///< no request may be made: the user has not consented
        backingOff,            ///< the collector has asked to wait, or has failed
        stopped,               ///< the bus posts nothing any more
    };

    /// `detail` is appended to the text of the case.
    explicit EventBusError(Case errorCase, std::string detail = "")
        : case_(errorCase), detail_(std::move(detail)) {}

    [[nodiscard]] Case errorCase() const noexcept { return case_; }
    [[nodiscard]] std::string description() const override;

    friend bool operator==(const EventBusError& one, const EventBusError& other) noexcept {
        return one.case_ == other.case_;
    }

  private:
    Case case_;
    std::string detail_;
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
    using AwaitSchemas = std::function<void(std::function<void()> action)>;
    using DispatchCompletion = std::function<void(const DispatchResult&)>;

    virtual ~EventBusProtocol() = default;

    /// Appends an event to the queue and reports before it returns, under the queue's lock. A
    /// failure is `EventBusError::Case::enqueueError`, or `queueClosed` while the queue is closed.
    virtual void enqueue(const InternalEvent& event, const EnqueueCompletion& completion) = 0;

    /// Tries once to deliver one batch. The completion, which may be null, is called once, on a
    /// worker or before this returns.
    virtual void dispatch(DispatchCompletion completion) = 0;

    /// Delivers batch after batch until nothing that can be delivered is left, a batch fails, or
    /// `deadline` has passed. First hands `awaitSchemas` an action to run when the held-back events
    /// can be validated, or should not be waited for. Then calls `releaseHeldBack` for as long as
    /// it returns true, on a worker: it moves a few held-back events to the queue, and returns
    /// false when it found none. Both may be null. Without an identity, waits for one attempt to
    /// fetch it. The completion, which may be null, is called once, on a worker or by the end of
    /// the bus, and must not wait.
    virtual void flush(std::chrono::milliseconds deadline, std::function<bool()> releaseHeldBack,
                       FlushCallback completion, AwaitSchemas awaitSchemas = nullptr) = 0;

    /// Posts those events again that were passed over, from the next dispatch on.
    virtual void retryRefused() = 0;

    /// Drops the events in flight: they count as discarded and leave every file, and the answers of
    /// their requests are ignored. From now on envelopes carry another client UUID.
    virtual void discardInFlight() = 0;

    /// Puts the events in flight back into the queue and takes no more; their answers are ignored,
    /// and flushes fail. For the end of the process or of the client.
    virtual void stopDispatching() = 0;

    /// Starts the dispatch timer unless it runs.
    virtual void startTicking() = 0;
};

}  // namespace zentara
