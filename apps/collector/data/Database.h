#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

struct sqlite3;
struct sqlite3_stmt;

namespace zentara::collector {

/// The database could not be opened, read or written. The text is for users.
class StoreError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Another connection has the database locked; the same operation may succeed later.
class BusyError : public StoreError {
  public:
    using StoreError::StoreError;
};

/// A connection to an SQLite database. One thread at a time. Failures are thrown as `StoreError`
/// with SQLite's message, or as `BusyError`.
class Database {
  public:
    /// A running statement. It borrows the texts that are bound to it.
    class Query {
      public:
        Query(Query&& other) noexcept;
        Query& operator=(Query&&) = delete;
        ~Query();

        /// Goes to the next row; false if there is none.
        [[nodiscard]] bool step();

        // Of the current row, counted from 0. A text is valid until the next step.
        [[nodiscard]] std::int64_t integer(int column) const;
        [[nodiscard]] std::string_view text(int column) const;
        [[nodiscard]] bool isNull(int column) const;

        // Binds the next parameter.
        void bind(std::int64_t number);
        void bind(std::string_view text);
        template <std::integral Number>
        void bind(Number number) {
            bind(static_cast<std::int64_t>(number));
        }

      private:
        friend class Database;
        enum class Keeping { cached, once };
        Query(sqlite3_stmt* statement, Keeping keeping)
            : statement_(statement), keeping_(keeping) {}
        void check(int result) const;

        sqlite3_stmt* statement_;
        Keeping keeping_;
        int bound_ = 0;
    };

    /// Rolled back at the end unless it was committed.
    class Transaction {
      public:
        enum class Kind { reading, writing };
        Transaction(Database& database, Kind kind);
        Transaction(const Transaction&) = delete;
        Transaction& operator=(const Transaction&) = delete;
        ~Transaction();

        void commit();

      private:
        Database& database_;
    };

    /// Opens an existing file, which may be empty, or a database in memory.
    explicit Database(const std::optional<std::filesystem::path>& file);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    /// Closes the database. No statement may be running. Until `open`, every statement fails.
    void close() noexcept;
    void open();

    /// Runs statements without parameters and rows.
    void execute(const std::string& script);

    /// Lets readers and a writer of a file work at the same time. Throws `StoreError` if the file
    /// system does not allow it.
    void useWriteAheadLog();

    /// Starts a statement and keeps it prepared; for fixed texts.
    template <typename... Values>
    [[nodiscard]] Query query(std::string_view sql, Values&&... values) {
        static_assert((!std::is_same_v<Values, std::string> && ...), "texts are borrowed");
        Query query(cached(sql), Query::Keeping::cached);
        (query.bind(values), ...);
        return query;
    }

    /// Starts a statement without keeping it prepared; for composed texts.
    [[nodiscard]] Query queryOnce(std::string_view sql) {
        return Query(prepare(sql), Query::Keeping::once);
    }

    /// Runs a statement and ignores its rows.
    template <typename... Values>
    void run(std::string_view sql, const Values&... values) {
        (void)query(sql, values...).step();
    }

    /// The first column of the first row; 0 if there is no row or it holds null.
    [[nodiscard]] std::int64_t number(std::string_view sql);

  private:
    [[nodiscard]] sqlite3_stmt* prepare(std::string_view sql);
    [[nodiscard]] sqlite3_stmt* cached(std::string_view sql);

    const std::string name_;
    sqlite3* connection_ = nullptr;
    std::map<std::string, sqlite3_stmt*, std::less<>> statements_;
};

}  // namespace zentara::collector
