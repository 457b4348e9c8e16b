#include "collector/data/Database.h"

#include <sqlite3.h>

#include <chrono>

namespace zentara::collector {

namespace {

constexpr std::chrono::milliseconds longestWait{5000};

[[noreturn]] void fail(sqlite3* connection, int result) {
    // Without memory there is no connection to ask for the message.
    const char* const reason =
        connection == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(connection);
    if (result == SQLITE_BUSY) throw BusyError(reason);
    throw StoreError(reason);
}

}  // namespace

Database::Query::Query(Query&& other) noexcept
    : statement_(std::exchange(other.statement_, nullptr)),
      keeping_(other.keeping_),
      bound_(other.bound_) {}

Database::Query::~Query() {
    if (statement_ == nullptr) return;
    // Both return the error of the last step, which was thrown already.
    if (keeping_ == Keeping::once) {
        (void)sqlite3_finalize(statement_);
    } else {
        (void)sqlite3_reset(statement_);
        (void)sqlite3_clear_bindings(statement_);
    }
}

void Database::Query::check(int result) const {
    if (result != SQLITE_OK) fail(sqlite3_db_handle(statement_), result);
}

bool Database::Query::step() {
    const int result = sqlite3_step(statement_);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) fail(sqlite3_db_handle(statement_), result);
    return false;
}

std::int64_t Database::Query::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

std::string_view Database::Query::text(int column) const {
    const void* text = sqlite3_column_text(statement_, column);
    if (text == nullptr) return {};
    return {static_cast<const char*>(text),
            static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

bool Database::Query::isNull(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

void Database::Query::bind(std::int64_t number) {
    check(sqlite3_bind_int64(statement_, ++bound_, number));
}

void Database::Query::bind(std::string_view text) {
    // A null pointer would bind null; a null destructor means that the text is borrowed.
    check(sqlite3_bind_text64(statement_, ++bound_, text.data() == nullptr ? "" : text.data(),
                              text.size(), nullptr, SQLITE_UTF8));
}

Database::Transaction::Transaction(Database& database, Kind kind) : database_(database) {
    // A writer takes its lock first, so that no later statement can fail to get it.
    database_.run(kind == Kind::reading ? "BEGIN" : "BEGIN IMMEDIATE");
}

Database::Transaction::~Transaction() {
    // Some errors end the transaction.
    if (sqlite3_get_autocommit(database_.connection_) != 0) return;
    (void)sqlite3_exec(database_.connection_, "ROLLBACK", nullptr, nullptr, nullptr);
}

void Database::Transaction::commit() {
    database_.run("COMMIT");
}

// An absolute path, since SQLite gives names such as ":memory:" a meaning.
Database::Database(const std::optional<std::filesystem::path>& file)
    : name_(file ? std::filesystem::absolute(*file).string() : ":memory:") {
    open();
}

void Database::open() {
    const int result = sqlite3_open_v2(name_.c_str(), &connection_,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result != SQLITE_OK) {
        const std::string reason =
            connection_ == nullptr ? sqlite3_errstr(result) : sqlite3_errmsg(connection_);
        close();
        throw StoreError(name_ + ": " + reason);
    }
    (void)sqlite3_busy_timeout(connection_, static_cast<int>(longestWait.count()));
}

Database::~Database() {
    close();
}

void Database::close() noexcept {
    for (const auto& [sql, statement] : statements_)
        (void)sqlite3_finalize(statement);
    statements_.clear();
    (void)sqlite3_close(connection_);
    connection_ = nullptr;
}

void Database::execute(const std::string& script) {
    const int result = sqlite3_exec(connection_, script.c_str(), nullptr, nullptr, nullptr);
    if (result != SQLITE_OK) fail(connection_, result);
}

void Database::useWriteAheadLog() {
    auto mode = queryOnce("PRAGMA journal_mode = WAL");
    if (!mode.step() || mode.text(0) != "wal") {
        throw StoreError("the file system does not allow a write-ahead log");
    }
}

std::int64_t Database::number(std::string_view sql) {
    Query rows = query(sql);
    return rows.step() ? rows.integer(0) : 0;
}

sqlite3_stmt* Database::prepare(std::string_view sql) {
    sqlite3_stmt* statement = nullptr;
    const int result = sqlite3_prepare_v2(connection_, sql.data(), static_cast<int>(sql.size()),
                                          &statement, nullptr);
    if (result != SQLITE_OK) fail(connection_, result);
    return statement;
}

sqlite3_stmt* Database::cached(std::string_view sql) {
    const auto known = statements_.find(sql);
    if (known != statements_.end()) return known->second;
    return statements_.emplace(sql, prepare(sql)).first->second;
}

}  // namespace zentara::collector
