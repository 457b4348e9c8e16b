#pragma once

#include <chrono>
#include <set>
#include <span>

#include "collector/forward/postgresql/PostgreSQLConnection.h"

namespace zentara::collector {

/// The scripts that make the tables of each version from those of the version before.
[[nodiscard]] std::span<const char* const> tableScripts();

/// The tables that events are handed on to, in the schema "zentara". Several collectors may make
/// them at once. Throws `PostgreSQLError`. The connection must be in no transaction and outlive it.
///
///     version      of the tables
///     action_uuids the action UUID of each event and its arrival: what makes them unique
///     events       partitioned by day (UTC) of arrival; the partitions are events_YYYYMMDD
class PostgreSQLTables {
  public:
    /// Makes or migrates the tables. Refuses those of a later version.
    explicit PostgreSQLTables(PostgreSQLConnection& connection,
                              std::span<const char* const> scripts = tableScripts());

    /// Makes the partition for a day unless there is one.
    void makePartition(std::chrono::sys_days day);

  private:
    void migrate(std::span<const char* const> scripts);

    PostgreSQLConnection& connection_;
    std::set<std::chrono::sys_days> days_;  // that are known to have a partition
};

}  // namespace zentara::collector
