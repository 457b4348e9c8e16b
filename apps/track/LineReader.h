#pragma once

#include <cstddef>
#include <istream>
#include <optional>
#include <string>

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

}  // namespace zentara::track
