#include "track/LineReader.h"

#include <streambuf>

namespace zentara::track {

std::optional<LineReader::Line> LineReader::next() {
    for (;;) {
        auto line = nextOfAny();
        if (!line || line->tooLong) return line;
        if (line->text.find_first_not_of(" \t") != std::string::npos) return line;
    }
}

std::optional<LineReader::Line> LineReader::nextOfAny() {
    using Traits = std::istream::traits_type;
    std::streambuf& buffer = *stream_.rdbuf();
    auto next = buffer.sbumpc();
    if (Traits::eq_int_type(next, Traits::eof())) return std::nullopt;

    Line line;
    line.number = ++number_;
    for (; !Traits::eq_int_type(next, Traits::eof()); next = buffer.sbumpc()) {
        const char character = Traits::to_char_type(next);
        if (character == '\n') break;
        if (line.text.size() < longestLine) {
            line.text += character;
        } else {
            line.tooLong = true;
        }
    }
    if (!line.text.empty() && line.text.back() == '\r') line.text.pop_back();
    return line;
}

}  // namespace zentara::track
