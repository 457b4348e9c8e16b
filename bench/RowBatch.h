#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "collector/forward/Sink.h"
#include "collector/forward/postgresql/CopyRows.h"

namespace zentara::bench {

/// Events of the usual size, received one millisecond after the other.
class RowBatch {
  public:
    RowBatch(std::int64_t number, std::size_t size, std::mt19937_64& random) : texts_(2 * size) {
        for (std::size_t i = 0; i < size; ++i) {
            auto& uuid = texts_[2 * i];
            auto& record = texts_[2 * i + 1];
            std::array<char, 40> text{};
            const auto high = random();
            const auto low = random();
            (void)std::snprintf(
                text.data(), text.size(), "%08X-%04X-4%03X-8%03X-%012llX",
                static_cast<unsigned>(high >> 32), static_cast<unsigned>(high >> 16 & 0xFFFF),
                static_cast<unsigned>(high & 0xFFF), static_cast<unsigned>(low >> 48 & 0xFFF),
                static_cast<unsigned long long>(low & 0xFFFF'FFFF'FFFF));
            uuid = text.data();
            const auto sequence =
                number * static_cast<std::int64_t>(size) + static_cast<std::int64_t>(i);
            record = recordOf(uuid, sequence);
            events_.push_back({.receivedAt = 1'763'899'200'000 + sequence,
                               .client = "9A3F2C1E-7C53-4B8A-9E0D-2B1C5D7F8A90",
                               .tenant = "my-tenant",
                               .schema = "page-view-1",
                               .actionUUID = uuid,
                               .userType = "GST",
                               .userToken = "b4c1d2e3f4a5b6c7d8e9f0a1b2c3d4e5",
                               .context = "51E0C4B2-0D3A-4F6B-8C9D-1A2B3C4D5E6F",
                               .sequence = sequence,
                               .actionTs = 1'763'899'100'000 + sequence,
                               .findings = "[]",
                               .json = record,
                               .record = record});
        }
    }

    [[nodiscard]] std::span<const collector::ForwardedEvent> events() const { return events_; }

    [[nodiscard]] std::string rows() const {
        collector::CopyRows rows;
        for (const auto& event : events_)
            rows.add(event, collector::actionKey(event.actionUUID));
        return rows.finish();
    }

    [[nodiscard]] std::string uuids() const {
        std::string lines;
        for (const auto& event : events_)
            lines += std::string(event.actionUUID) + "\t2025-11-23 12:00:00.123+00\n";
        return lines;
    }

  private:
    static std::string recordOf(const std::string& uuid, std::int64_t sequence) {
        return R"({"schema":"page-view-1","actionUUID":")" + uuid + R"(","sequence":)" +
               std::to_string(sequence) +
               R"(,"good":true,"messages":[],"receivedAt":1763899200000,)"
               R"("clientUUID":"9A3F2C1E-7C53-4B8A-9E0D-2B1C5D7F8A90","tenant":"my-tenant",)"
               R"("clientType":"mobile","deviceGroup":"iOS","environment":"production",)"
               R"("clientTs":1763899199000,"dispatchNumber":17,"actionCounter":10,)"
               R"("userAgent":"zentara/3.4 Linux","cookie":"GST=b4c1d2e3f4a5b6c7d8e9f0a1b2c3d4e5",)"
               R"("user":{"type":"GST","token":"b4c1d2e3f4a5b6c7d8e9f0a1b2c3d4e5"},)"
               R"("event":{"id":"page-view","version":"1","url":"https://example.com/home",)"
               R"("referer":"https://example.com/","zentaraActionTs":1763899100000,)"
               R"("properties":{"title":"The title of a page","section":"home","language":"en"}}})";
    }

    std::vector<std::string> texts_;
    std::vector<collector::ForwardedEvent> events_;
};

/// "zentara.events" of the statement replaced by another table.
inline std::string copyInto(const std::string& table) {
    auto sql = collector::CopyRows::statement();
    const std::string name = "zentara.events";
    return sql.replace(sql.find(name), name.size(), table);
}

/// Tables like those of the collector, in the schema "copied".
inline constexpr const char* copiedTables = R"(
CREATE SCHEMA copied;
CREATE TABLE copied.plain (LIKE zentara.events);
CREATE TABLE copied.action_uuids (LIKE zentara.action_uuids INCLUDING ALL);
CREATE TABLE copied.events (LIKE zentara.events INCLUDING ALL) PARTITION BY RANGE (received_at);
CREATE TABLE copied.day PARTITION OF copied.events FOR VALUES FROM ('2025-11-23') TO ('2025-11-24');
)";

}  // namespace zentara::bench
