#include "collector/forward/postgresql/PostgreSQLTables.h"

#include <array>
#include <cstddef>
#include <cstdio>
#include <string>

namespace zentara::collector {

namespace {

// A change of the tables is a further script; none is changed after it was released.
constexpr std::array scripts{
    R"(
CREATE TABLE zentara.action_uuids (
    action_uuid uuid PRIMARY KEY,
    received_at timestamptz NOT NULL);
CREATE TABLE zentara.events (
    received_at timestamptz NOT NULL,
    action_at timestamptz,
    sequence bigint NOT NULL,
    action_uuid uuid NOT NULL,
    good boolean NOT NULL,
    schema_id text NOT NULL,
    schema_version text NOT NULL,
    tenant text NOT NULL,
    client text NOT NULL,
    context text NOT NULL,
    user_type text,
    user_token text,
    findings jsonb,
    record jsonb,
    record_text text)
    PARTITION BY RANGE (received_at);
CREATE INDEX events_received_at ON zentara.events USING brin (received_at);
CREATE INDEX events_schema_id ON zentara.events (schema_id, received_at);
)"};

// Makes collectors that change tables wait for each other. Any number; the same in all versions.
const std::string begin = "BEGIN; SELECT pg_advisory_xact_lock(8241947652018837505); ";

/// A transaction that changes tables; rolled back at the end unless it was committed.
class TableChange {
  public:
    explicit TableChange(PostgreSQLConnection& connection) : connection_(connection) {
        (void)connection_.run(begin);
    }
    TableChange(const TableChange&) = delete;
    TableChange& operator=(const TableChange&) = delete;
    ~TableChange() {
        if (isCommitted_) return;
        try {
            (void)connection_.run("ROLLBACK");
        } catch (const PostgreSQLError&) {
            // A lost connection has rolled back.
        }
    }
    void commit() {
        (void)connection_.run("COMMIT");
        isCommitted_ = true;
    }

  private:
    PostgreSQLConnection& connection_;
    bool isCommitted_ = false;
};

bool isTrue(PostgreSQLConnection& connection, const std::string& condition) {
    return connection.run("SELECT " + condition).text(0, 0) == "t";
}

std::size_t versionOf(PostgreSQLConnection& connection) {
    // to_regclass() would not see what another connection made during this transaction.
    if (!isTrue(connection,
                "EXISTS (SELECT FROM pg_tables WHERE schemaname = 'zentara' AND tablename = "
                "'version')")) {
        return 0;
    }
    const auto rows = connection.run("SELECT version FROM zentara.version");
    return rows.count() == 0 ? 0 : std::stoul(std::string(rows.text(0, 0)));
}

/// With a date: "YYYYMMDD".
std::string compact(std::chrono::sys_days day) {
    const std::chrono::year_month_day date(day);
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%04d%02u%02u", static_cast<int>(date.year()),
                        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
    return text.data();
}

}  // namespace

std::span<const char* const> tableScripts() {
    return scripts;
}

PostgreSQLTables::PostgreSQLTables(PostgreSQLConnection& connection,
                                   std::span<const char* const> newest)
    : connection_(connection) {
    // Needs no permission to change tables, and no lock.
    if (versionOf(connection_) != newest.size()) migrate(newest);
}

void PostgreSQLTables::migrate(std::span<const char* const> newest) {
    TableChange change(connection_);
    const auto version = versionOf(connection_);
    if (version > newest.size()) {
        throw PostgreSQLError("the tables were made by a later version of this collector (" +
                              std::to_string(version) + " instead of " +
                              std::to_string(newest.size()) + ")");
    }
    if (version == 0) {
        // Permission to create schemas is asked for even if the schema exists.
        if (isTrue(connection_, "NOT EXISTS (SELECT FROM pg_namespace WHERE nspname = 'zentara')"))
            (void)connection_.run("CREATE SCHEMA zentara");
        (void)connection_.run(
            "CREATE TABLE zentara.version (version integer NOT NULL);"
            "INSERT INTO zentara.version VALUES (0)");
    }
    for (const char* const script : newest.subspan(version))
        (void)connection_.run(script);
    (void)connection_.run("UPDATE zentara.version SET version = " + std::to_string(newest.size()));
    change.commit();
}

void PostgreSQLTables::makePartition(std::chrono::sys_days day) {
    if (days_.contains(day)) return;
    const auto partition = "zentara.events_" + compact(day);
    const auto isAttached = "EXISTS (SELECT FROM pg_inherits WHERE inhrelid = to_regclass('" +
                            partition + "') AND inhparent = 'zentara.events'::regclass)";
    if (!isTrue(connection_, isAttached)) {
        TableChange change(connection_);
        if (!isTrue(connection_, isAttached)) {
            // Making it as a partition at once would wait for all readers and writers of events.
            (void)connection_.run("CREATE TABLE " + partition +
                                  " (LIKE zentara.events INCLUDING ALL);" +
                                  "ALTER TABLE zentara.events ATTACH PARTITION " + partition +
                                  " FOR VALUES FROM ('" + compact(day) + " 00:00:00+00') TO ('" +
                                  compact(day + std::chrono::days(1)) + " 00:00:00+00')");
        }
        change.commit();
    }
    days_.insert(day);
}

}  // namespace zentara::collector
