#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "model/InternalEvent.h"
#include "support/Status.h"

namespace zentara {

/// The outcome of adding an event: the event that was added, or the error of the store.
using EventRepositoryResult = Result<InternalEvent>;

/// Failures are equal whatever their errors; successes when their events are.
inline bool operator==(const EventRepositoryResult& one, const EventRepositoryResult& other) {
    return one.ok() == other.ok() && (!one.ok() || *one == *other);
}

/// Whether a repository takes events.
enum class Admission { open, closed };

/// Why a closed repository has not taken an event.
class RepositoryClosedError final : public Error {
  public:
    [[nodiscard]] std::string description() const override { return "the queue is closed"; }
};

/// Whether an event was not taken because the repository is closed.
inline bool isClosed(const Status& status) {
    return dynamic_cast<const RepositoryClosedError*>(status.error().get()) != nullptr;
}

/// A bounded, persistent queue of events, oldest first. Every operation is one step: operations of
/// several threads follow each other, and each returns when it is done.
class EventRepositoryProtocol {
  public:
    using AddCompletion = std::function<void(const EventRepositoryResult&)>;

    virtual ~EventRepositoryProtocol() = default;

    /// Appends an event, evicts the oldest event if there are too many, saves, and reports before
    /// it returns. The completion runs inside the queue and must not call the repository. An event
    /// that the store failed to write stays in memory. An event that JSON cannot hold does not
    /// stay, since it would spoil every later save.
    virtual void add(const InternalEvent& event, const AddCompletion& completion) = 0;

    /// Writes the list to the store. A failure is ignored: the next save writes it all.
    virtual void save() = 0;

    /// Puts events back at the front, in their order. Neither bounds nor saves.
    virtual void insert(std::span<const InternalEvent> events) = 0;

    /// Settles taken events: removes them from every file.
    virtual void settle(std::span<const InternalEvent> events) = 0;

    /// Replaces the list with what the store holds; with nothing when it cannot be read.
    virtual void load() = 0;

    /// Removes up to `count` events from the front and returns them. Does not save. A repository
    /// with a file for events in flight writes them there before they leave the list, and keeps
    /// them there until they are settled, or inserted and saved.
    [[nodiscard]] virtual std::vector<InternalEvent> take(std::int64_t count) = 0;

    /// Drops all events, those in flight too, and removes every file of the queue. Counts those
    /// that were not in flight as discarded. With `Admission::closed`, the repository takes nothing
    /// and writes nothing until `reopen`: `add` fails with `RepositoryClosedError`, and `insert`
    /// discards. A failure is that of removing the files; the list is empty all the same.
    [[nodiscard]] virtual Status clear(Admission afterwards) = 0;
    /// Takes events again.
    virtual void reopen() = 0;

    /// Marks taken events, known by their action UUID, before they are put back: `take` leaves them
    /// in their place. In memory only.
    virtual void passOver(std::span<const InternalEvent> events) = 0;
    /// Lets `take` return all events again.
    virtual void retryPassedOver() = 0;

    /// Whether `take` would return an event.
    [[nodiscard]] virtual bool hasEventsToTake() const = 0;
};

}  // namespace zentara
