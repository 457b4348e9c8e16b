#pragma once

#include <zentara/JSONValue.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara::collector {

/// The messages of bad events, by schema and text. Bounded whatever the events hold: the first
/// `mostGroups` groups, by the first `longestMessage` bytes of their messages. Not thread-safe.
class MessageGroups {
  public:
    static constexpr std::size_t mostGroups = 500;
    static constexpr std::size_t longestMessage = 1000;
    static constexpr std::size_t mostPaths = 5;
    static constexpr std::size_t longestPath = 200;

    /// Counts an event, which came before those that are there. `findings` is a JSON array of
    /// {path, message}.
    void add(std::string_view schema, std::string_view findings, std::int64_t receivedAt);

    /// The largest group first. "paths" are the first that differ, "cut" says that only the
    /// beginning of the message is there:
    ///     {"schema": "a-1", "message": "is too low", "count": 2, "latest": 1700000000123,
    ///      "paths": ["/price"]}
    [[nodiscard]] JSONArray result() const;

    /// Whether events had messages that are in no group.
    [[nodiscard]] bool hasMore() const { return hasMore_; }

  private:
    struct Group {
        std::uint64_t count = 0;
        std::uint64_t lastEvent = 0;
        std::int64_t latest = 0;  ///< milliseconds since 1970-01-01 UTC
        bool isCut = false;
        std::vector<std::string> paths;
    };

    std::map<std::pair<std::string, std::string>, Group> groups_;
    std::uint64_t events_ = 0;
    bool hasMore_ = false;
};

}  // namespace zentara::collector
