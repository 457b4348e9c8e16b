#pragma once

#include <zentara/JSONValue.h>

#include <cstddef>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace zentara::track {

/// Splits a stream into lines. Holds at most `longestLine` bytes of a line. Lines end with LF or
/// CR LF; the last line may have no end.
class LineReader {
  public:
    struct Line {
        std::size_t number = 0;  ///< counts from 1, blank lines included
        std::string text;        ///< without its end; cut when `tooLong`
        bool tooLong = false;
    };

    static constexpr std::size_t longestLine = 1024UL * 1024;

    /// `stream` outlives the reader.
    explicit LineReader(std::istream& stream) : stream_(stream) {}

    /// The next line that is not blank; nothing at the end of the stream.
    [[nodiscard]] std::optional<Line> next();

  private:
    [[nodiscard]] std::optional<Line> nextOfAny();

    std::istream& stream_;
    std::size_t number_ = 0;
};

/// An event as a line of input describes it.
struct EventLine {
    std::string schemaId;
    std::string schemaVersion;
    std::string contentType = "application/json";
    std::string url;
    std::string referer;
    JSONObject properties;
    std::optional<std::string> relationId;
    std::vector<std::string> unknownMembers;  ///< ignored; probably misspelt

    [[nodiscard]] std::string schema() const { return schemaId + "-" + schemaVersion; }
};

/// The reason why a line is not an event.
struct UnreadableLine {
    std::string reason;
};

/// Reads a JSON object with "schemaId" and "schemaVersion", and optionally "contentType", "url",
/// "referer", "properties" and "relationId"; null is the same as absence. Ignores "expected".
[[nodiscard]] std::variant<EventLine, UnreadableLine> readEventLine(std::string_view line);

}  // namespace zentara::track
