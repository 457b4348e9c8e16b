#pragma once

#include <memory>
#include <span>
#include <vector>

#include "collector/forward/Sink.h"
#include "collector/forward/postgresql/CopyRows.h"
#include "collector/forward/postgresql/PostgreSQLConnection.h"
#include "collector/forward/postgresql/PostgreSQLTables.h"

namespace zentara::collector {

/// Hands events on to PostgreSQL: a row for each action UUID (see `PostgreSQLTables`). The events
/// of a call are committed together. If the server refuses one, the others are committed in halves
/// of halves. After any other failure the next call connects again; events that were committed
/// although the answer was lost are known by their action UUIDs.
class PostgreSQLSink final : public Sink {
  public:
    /// The URL is libpq's and must not hold a password. Does not connect. Throws
    /// `std::runtime_error`.
    explicit PostgreSQLSink(const Settings& settings);
    ~PostgreSQLSink() override;
    PostgreSQLSink(const PostgreSQLSink&) = delete;
    PostgreSQLSink& operator=(const PostgreSQLSink&) = delete;

    [[nodiscard]] std::vector<Handover> deliver(std::span<const ForwardedEvent> events) override;
    void stop() override { stop_.raise(); }

  private:
    struct Server;

    void store(std::span<const ForwardedEvent> events, std::span<Handover> handovers);
    void commit(std::span<const ForwardedEvent> events);
    [[nodiscard]] std::vector<bool> claim(std::span<const ForwardedEvent> events,
                                          std::span<const ActionKey> keys);

    const std::string url_;
    const StopSignal stop_;
    std::unique_ptr<Server> server_;  // none until the first call and after a failure
};

}  // namespace zentara::collector
