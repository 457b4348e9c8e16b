#pragma once

#include <functional>
#include <utility>

#include "model/InternalEvent.h"
#include "support/Status.h"

namespace zentara {

class IDManager;

/// The outcome of one attempt to deliver a batch.
class DispatchResult {
  public:
    enum class Kind { failure, emptyRepository, success };

    [[nodiscard]] static DispatchResult success() { return DispatchResult(Kind::success, nullptr); }
    [[nodiscard]] static DispatchResult emptyRepository() {
        return DispatchResult(Kind::emptyRepository, nullptr);
    }
    [[nodiscard]] static DispatchResult failure(ErrorRef error) {
        return DispatchResult(Kind::failure, std::move(error));
    }

    [[nodiscard]] Kind kind() const noexcept { return kind_; }
    /// Why a dispatch failed; null otherwise.
    [[nodiscard]] const ErrorRef& error() const noexcept { return error_; }

    /// Failures are equal when their errors say the same.
    friend bool operator==(const DispatchResult& one, const DispatchResult& other) {
        if (one.kind_ != other.kind_) return false;
        return one.error_ == other.error_ ||
               (one.error_ && other.error_ &&
                one.error_->description() == other.error_->description());
    }

  private:
    DispatchResult(Kind kind, ErrorRef error) : kind_(kind), error_(std::move(error)) {}

    Kind kind_;
    ErrorRef error_;
};

/// Moves queued events to the collector. Safe for use from any thread.
class EventBusProtocol {
  public:
    using EnqueueCompletion = std::function<void(ErrorRef)>;
    using DispatchCompletion = std::function<void(const DispatchResult&)>;

    virtual ~EventBusProtocol() = default;

    /// Appends an event to the queue and reports before it returns, under the queue's lock: null,
    /// or `EventBusError::Case::enqueueError`.
    virtual void enqueue(const InternalEvent& event, const EnqueueCompletion& completion) = 0;

    /// Tries once to deliver one batch. The completion, which may be null, is called once, on a
    /// worker or before this returns.
    virtual void dispatch(DispatchCompletion completion) = 0;

    /// Starts the dispatch timer unless it runs.
    virtual void startTicking() = 0;

    [[nodiscard]] virtual IDManager& idManager() const = 0;
};

}  // namespace zentara
