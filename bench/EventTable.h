#pragma once

#include <cstdint>
#include <filesystem>
#include <span>
#include <string_view>
#include <vector>

#include "OutboxEntries.h"
#include "collector/data/Database.h"
#include "support/Files.h"

namespace zentara::bench {

/// The least of an outbox: rows in a table, a thousand in a transaction.
class EventTable {
  public:
    explicit EventTable(const std::filesystem::path& file)
        : database_((test::writeTo(file, ""), file)) {
        database_.useWriteAheadLog();
        database_.execute(
            "PRAGMA synchronous = NORMAL; CREATE TABLE events (ordinal INTEGER PRIMARY KEY, "
            "client TEXT, schema TEXT, actionUUID TEXT, sequence INTEGER, json TEXT)");
    }

    void insert(const std::vector<collector::Outbox::Entry>& entries) {
        for (std::size_t first = 0; first < entries.size(); first += 100) {
            collector::Database::Transaction transaction(
                database_, collector::Database::Transaction::Kind::writing);
            for (const auto& entry : std::span(entries).subspan(first, 100))
                for (const auto& action : entry.envelope->actions)
                    database_.run("INSERT INTO events VALUES (NULL, ?, ?, ?, ?, ?)",
                                  std::string_view(entry.envelope->clientUUID),
                                  std::string_view(action.schema), std::string_view(action.uuid),
                                  action.sequence, std::string_view(action.json));
            transaction.commit();
        }
    }

    /// Calls `use` for each row, and removes all, in steps of the outbox's size.
    template <typename Use>
    void empty(const Use& use) {
        constexpr std::int64_t step = 10'000;
        for (std::int64_t first = 1; first <= events; first += step) {
            const std::int64_t last = first + step - 1;
            auto rows = database_.query(
                "SELECT client, schema, actionUUID, json FROM events WHERE ordinal BETWEEN ? AND ?",
                first, last);
            while (rows.step())
                use(rows.text(0), rows.text(1), rows.text(2), rows.text(3));
            database_.run("DELETE FROM events WHERE ordinal BETWEEN ? AND ?", first, last);
        }
    }

  private:
    collector::Database database_;
};

}  // namespace zentara::bench
