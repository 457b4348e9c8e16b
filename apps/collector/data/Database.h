#pragma once

#include <concepts>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

struct sqlite3;
struct sqlite3_stmt;

namespace zentara::collector {

/// A connection to an SQLite database. One thread at a time. Whatever goes wrong is a `StoreError`
/// with SQLite's own words, a `BusyError` when another connection is in the way.
class Database {
  public:
    /// A statement under way. Texts given to it are borrowed until it is gone.
    class Query {
      public:
        Query(Query&& other) noexcept;
        Query& operator=(Query&&) = delete;
        ~Query();

        /// Goes to the next row; false when there is none.
        [[nodiscard]] bool step();

        // Of the current row, counted from 0. A text is valid until the next step.
        [[nodiscard]] std::int64_t integer(int column) const;
        [[nodiscard]] std::string_view text(int column) const;
        [[nodiscard]] bool isNull(int column) const;

        // Gives the next parameter its value.
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

    /// All or nothing: what was done is undone at the end unless it was committed.
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

    /// Opens an existing file, which may be empty; a database in memory when there is none.
    explicit Database(const std::optional<std::filesystem::path>& file);
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;
    ~Database();

    /// Lets go of the database, of which there is no statement under way; until it is opened again
    /// every statement fails.
    void close() noexcept;
    void open();

    /// Runs statements without parameters and rows.
    void execute(const std::string& script);

    /// Starts a statement that is kept prepared; for texts of which there are few.
    template <typename... Values>
    [[nodiscard]] Query query(std::string_view sql, Values&&... values) {
        static_assert((!std::is_same_v<Values, std::string> && ...), "texts are borrowed");
        Query query(cached(sql), Query::Keeping::cached);
        (query.bind(values), ...);
        return query;
    }

    /// Starts a statement that is put together for the occasion.
    [[nodiscard]] Query queryOnce(std::string_view sql) {
        return Query(prepare(sql), Query::Keeping::once);
    }

    /// Runs a statement of which no row is wanted.
    template <typename... Values>
    void run(std::string_view sql, const Values&... values) {
        (void)query(sql, values...).step();
    }

    /// The first column of the first row; 0 when there is no row or it holds null.
    [[nodiscard]] std::int64_t number(std::string_view sql);

  private:
    [[nodiscard]] sqlite3_stmt* prepare(std::string_view sql);
    [[nodiscard]] sqlite3_stmt* cached(std::string_view sql);

    const std::string name_;
    sqlite3* connection_ = nullptr;
    std::map<std::string, sqlite3_stmt*, std::less<>> statements_;
};

}  // namespace zentara::collector
