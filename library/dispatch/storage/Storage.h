#pragma once

#include <span>
#include <vector>

#include "dispatch/storage/EventList.h"
#include "json/JSONValue.h"
#include "support/Status.h"

namespace zentara {

/// The records of a store, or why they could not be read.
template <typename Record>
struct [[nodiscard]] Loaded {
    std::vector<Record> records;
    ErrorRef error;      ///< null on success
    bool found = false;  ///< whether something was stored at all; an empty list counts
};

/// Keeps one list of records. Holds no lock: its owner serialises the calls.
template <typename DataType>
class Storage {
  public:
    virtual ~Storage() = default;

    /// Replaces the stored list. Null on success; otherwise the stored list is as it was.
    [[nodiscard]] virtual ErrorRef save(std::span<const DataType> records) = 0;

    /// The stored list; empty when nothing was stored.
    virtual Loaded<DataType> load() = 0;
};

/// Keeps the list of cached schemas tables.
using SchemaStorageProtocol = Storage<JSONObject>;

/// Keeps one list of events, like `Storage`.
class InternalEventStorage {
  public:
    virtual ~InternalEventStorage() = default;

    [[nodiscard]] virtual ErrorRef save(const EventList& events) = 0;
    virtual Loaded<InternalEvent> load() = 0;

    /// Tells which events have left the list, or are about to, and may come back to it. A store
    /// that flushes lists flushes these with them.
    virtual void setInFlight(std::span<const InternalEvent> events) { static_cast<void>(events); }
};

}  // namespace zentara
