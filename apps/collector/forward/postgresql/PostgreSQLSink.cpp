#include "collector/forward/postgresql/PostgreSQLSink.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <numeric>
#include <stdexcept>
#include <string>

namespace zentara::collector {

namespace {

std::chrono::sys_days dayOf(const ForwardedEvent& event) {
    const std::chrono::sys_time<std::chrono::milliseconds> time{
        std::chrono::milliseconds(event.receivedAt)};
    return std::chrono::floor<std::chrono::days>(time);
}

void appendHex(std::string& text, const ActionKey& key) {
    constexpr std::string_view digits = "0123456789abcdef";
    for (const unsigned byte : key) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
}

}  // namespace

struct PostgreSQLSink::Server {
    Server(const std::string& url, const StopSignal& stop)
        : connection(url, stop), tables(connection) {}

    PostgreSQLConnection connection;
    PostgreSQLTables tables;
};

PostgreSQLSink::PostgreSQLSink(const Settings& settings) : url_(settings.url) {
    if (!settings.file.empty()) {
        throw std::runtime_error(
            "postgresql:// has no file of settings: its parameters are in the URL, and what is "
            "secret in ~/.pgpass or a service file");
    }
    PostgreSQLConnection::check(url_);
}

PostgreSQLSink::~PostgreSQLSink() = default;

std::vector<Handover> PostgreSQLSink::deliver(std::span<const ForwardedEvent> events) {
    std::vector<Handover> handovers(events.size());
    if (events.empty()) return handovers;
    try {
        if (!server_) server_ = std::make_unique<Server>(url_, stop_);
        store(events, handovers);
    } catch (const PostgreSQLError& error) {
        server_.reset();
        for (auto& handover : handovers) {
            if (handover.outcome == Handover::Outcome::failed)
                handover.reason = std::string("PostgreSQL: ") + error.what();
        }
    }
    return handovers;
}

void PostgreSQLSink::store(std::span<const ForwardedEvent> events, std::span<Handover> handovers) {
    try {
        commit(events);
        std::ranges::fill(handovers, Handover{Handover::Outcome::delivered});
    } catch (const PostgreSQLError& error) {
        if (!error.isAboutData()) throw;
        (void)server_->connection.run("ROLLBACK");
        if (events.size() == 1) {
            handovers.front() = {Handover::Outcome::refused,
                                 std::string("PostgreSQL: ") + error.what()};
            return;
        }
        const auto half = events.size() / 2;
        store(events.first(half), handovers.first(half));
        store(events.subspan(half), handovers.subspan(half));
    }
}

void PostgreSQLSink::commit(std::span<const ForwardedEvent> events) {
    std::vector<ActionKey> keys;
    keys.reserve(events.size());
    for (const auto& event : events) {
        server_->tables.makePartition(dayOf(event));
        keys.push_back(actionKey(event.actionUUID));
    }
    const auto isNew = claim(events, keys);
    CopyRows rows;
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (isNew[i]) rows.add(events[i], keys[i]);
    }
    server_->connection.copy(CopyRows::statement(), rows.finish());
    (void)server_->connection.run("COMMIT");
}

// Begins a transaction.
std::vector<bool> PostgreSQLSink::claim(std::span<const ForwardedEvent> events,
                                        std::span<const ActionKey> keys) {
    // In one order, so that collectors with the same events do not wait for each other in a circle.
    std::vector<std::size_t> order(events.size());
    std::iota(order.begin(), order.end(), 0);
    std::ranges::stable_sort(order, {}, [&](std::size_t i) { return keys[i]; });
    const auto sameKey = [&](std::size_t i, std::size_t j) {
        return keys[i] == keys[j];
    };
    order.erase(std::unique(order.begin(), order.end(), sameKey), order.end());

    std::string uuids;
    std::string times;
    for (const auto i : order) {
        if (!uuids.empty()) {
            uuids += ',';
            times += ',';
        }
        appendHex(uuids, keys[i]);
        times += std::to_string(events[i].receivedAt);
    }
    const auto rows = server_->connection.run(
        "BEGIN ISOLATION LEVEL READ COMMITTED;"
        "INSERT INTO zentara.action_uuids SELECT uuid, to_timestamp(time / 1000.0) "
        "FROM unnest('{" +
        uuids + "}'::uuid[], '{" + times +
        "}'::bigint[]) AS new (uuid, time) "
        "ON CONFLICT DO NOTHING RETURNING action_uuid");

    std::vector<bool> isNew(events.size());
    for (int row = 0; row < rows.count(); ++row) {
        const auto key = actionKey(rows.text(row, 0));
        const auto found =
            std::ranges::lower_bound(order, key, {}, [&](std::size_t i) { return keys[i]; });
        isNew[*found] = true;
    }
    return isNew;
}

}  // namespace zentara::collector
