#include "collector/http/ChunkedBody.h"

#include <algorithm>
#include <charconv>

namespace zentara::collector {

namespace {

constexpr std::size_t longestLine = 4096;
constexpr std::size_t mostFieldBytes = 16UL * 1024;

}  // namespace

std::size_t ChunkedBody::take(std::string_view bytes, std::string& body) {
    const std::size_t given = bytes.size();
    while (state_ == State::incomplete) {
        if (part_ == Part::data) {
            const std::string_view data = bytes.substr(0, left_);
            body += data;
            left_ -= data.size();
            bytes.remove_prefix(data.size());
            if (left_ > 0) break;
            part_ = Part::dataEnd;
        }
        const std::size_t end = bytes.find('\n', scanned_);
        const bool isComplete = end != std::string_view::npos;
        // A line is refused for its length whether or not its end is here yet.
        if ((isComplete ? end : bytes.size()) > longestLine ||
            (isComplete && (end == 0 || bytes[end - 1] != '\r'))) {
            state_ = State::malformed;
            break;
        }
        if (!isComplete) {
            scanned_ = bytes.size();
            break;
        }
        scanned_ = 0;
        const std::string_view line = bytes.substr(0, end - 1);
        bytes.remove_prefix(end + 1);

        if (part_ == Part::size) {
            readSize(line);
        } else if (part_ == Part::dataEnd) {
            part_ = Part::size;
            if (!line.empty()) state_ = State::malformed;
        } else if (line.empty()) {
            state_ = State::complete;
        } else if ((fieldBytes_ += line.size()) > mostFieldBytes) {
            state_ = State::malformed;
        }
    }
    return given - bytes.size();
}

void ChunkedBody::readSize(std::string_view line) {
    const char* const end = line.data() + line.size();
    const auto [rest, error] = std::from_chars(line.data(), end, left_, 16);
    const bool isLarge = error == std::errc::result_out_of_range;
    const auto* const extension = std::find_if(
        rest, end, [](char character) { return character != ' ' && character != '\t'; });
    if ((error != std::errc() && !isLarge) || (extension != end && *extension != ';')) {
        state_ = State::malformed;
    } else if (isLarge || left_ > limit_ - announced_) {
        state_ = State::tooLarge;
    } else {
        announced_ += left_;
        part_ = left_ == 0 ? Part::fields : Part::data;
    }
}

}  // namespace zentara::collector
