#pragma once

#include <span>
#include <vector>

#include "dispatch/storage/EventList.h"
#include "json/JSONValue.h"
#include "support/Status.h"

namespace zentara {

/// Keeps one list of records. Holds no lock: its owner serialises the calls.
template <typename DataType>
class Storage {
  public:
    virtual ~Storage() = default;

    /// Replaces the stored list. After a failure the stored list is as it was.
    [[nodiscard]] virtual Status save(std::span<const DataType> records) = 0;

    /// The stored list; empty when nothing was stored.
    virtual Result<std::vector<DataType>> load() = 0;

    /// Removes all that is stored, from every file of the store. The next save begins anew.
    [[nodiscard]] virtual Status erase() { return save({}); }
};

/// Keeps the list of cached schemas tables. Unlike other stores, `load` fails when nothing was
/// stored.
using SchemaStorageProtocol = Storage<JSONObject>;

/// Keeps one list of events, like `Storage`.
class InternalEventStorage {
  public:
    virtual ~InternalEventStorage() = default;

    [[nodiscard]] virtual Status save(const EventList& events) = 0;
    virtual Result<std::vector<InternalEvent>> load() = 0;

    /// Names the events in flight: they have left the list, or are about to, and may be put back.
    /// A store that flushes the list flushes them with it.
    virtual void setInFlight(std::span<const InternalEvent> events) { static_cast<void>(events); }

    /// Removes all events that are stored, from every file of the queue, also those set aside,
    /// postponed or in flight. What runs in the background brings none of them back. The next save
    /// begins anew.
    [[nodiscard]] virtual Status erase() { return save(EventList()); }

    /// Ends the background work: when this returns, nothing is written until the next save.
    virtual void stop() {}
};

}  // namespace zentara
