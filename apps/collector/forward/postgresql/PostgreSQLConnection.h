#pragma once

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

struct pg_conn;
struct pg_result;

namespace zentara::collector {

/// A statement or the connection has failed. The text is for users and holds no values.
class PostgreSQLError : public std::runtime_error {
  public:
    /// `state` is the server's SQLSTATE; empty if the connection is at fault.
    explicit PostgreSQLError(const std::string& text, std::string state = {},
                             std::string constraint = {})
        : std::runtime_error(text), state_(std::move(state)), constraint_(std::move(constraint)) {}

    /// Whether the server refuses the data themselves, at any time and on any connection.
    [[nodiscard]] bool isAboutData() const;
    [[nodiscard]] const std::string& state() const { return state_; }

  private:
    std::string state_;
    std::string constraint_;  // that the data violate, by name
};

/// Ends waits of another thread, now and in future.
class StopSignal {
  public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    void raise() const;
    [[nodiscard]] bool isRaised() const;
    /// Becomes readable when the signal is raised.
    [[nodiscard]] int descriptor() const { return descriptor_; }

  private:
    const int descriptor_;
};

/// A connection to a PostgreSQL server. One thread. Every wait ends with the signal, which must
/// outlive it. Failures are thrown as `PostgreSQLError`; after one without a state the connection
/// cannot be used any more. Only libpq's look-up of a host's name can be neither ended nor bounded.
class PostgreSQLConnection {
  public:
    /// The rows of a statement, as texts.
    class Rows {
      public:
        explicit Rows(pg_result* result);
        [[nodiscard]] int count() const;
        [[nodiscard]] std::string_view text(int row, int column) const;

      private:
        std::shared_ptr<pg_result> result_;
    };

    /// Throws `std::runtime_error`, without the URL, if libpq cannot read it or it has a password.
    static void check(const std::string& url);

    /// Connects to the first host of the URL that takes rows. Each has the URL's "connect_timeout"
    /// to answer, by default ten seconds.
    PostgreSQLConnection(const std::string& url, const StopSignal& stop);
    PostgreSQLConnection(const PostgreSQLConnection&) = delete;
    PostgreSQLConnection& operator=(const PostgreSQLConnection&) = delete;

    /// Runs statements, up to the first that fails. Returns the rows of the last.
    Rows run(const std::string& sql);
    /// Runs `COPY … FROM STDIN` with these bytes.
    void copy(const std::string& sql, std::string_view bytes);

  private:
    using Clock = std::chrono::steady_clock;
    using Result = std::unique_ptr<pg_result, void (*)(pg_result*)>;

    /// Parameters of libpq that overrule those of the URL.
    using Parameters = std::vector<std::pair<std::string, std::string>>;

    [[nodiscard]] static std::vector<Parameters> hostsOf(const std::string& url);
    void connect(const std::string& url, const Parameters& host);
    void send(const std::string& sql);
    void flush();
    [[nodiscard]] Result next();
    [[nodiscard]] Result last();
    void wait(short events, Clock::time_point end = Clock::time_point::max());
    [[noreturn]] void failAsLost() const;

    const StopSignal& stop_;
    std::unique_ptr<pg_conn, void (*)(pg_conn*)> connection_;
};

}  // namespace zentara::collector
