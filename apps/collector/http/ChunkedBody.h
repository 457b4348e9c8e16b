#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace zentara::collector {

/// Puts a body together that comes in chunks. Extensions of chunks and the fields after the last
/// one are passed over.
class ChunkedBody {
  public:
    enum class State { incomplete, complete, malformed, tooLarge };

    explicit ChunkedBody(std::size_t limit) : limit_(limit) {}

    /// Takes what can be used of `bytes`, appends what is in it of the body, and returns how many
    /// bytes were taken. The others are to be given again, with more after them.
    std::size_t take(std::string_view bytes, std::string& body);

    [[nodiscard]] State state() const noexcept { return state_; }

  private:
    enum class Part { size, data, dataEnd, fields };

    void readSize(std::string_view line);

    const std::size_t limit_;  // bytes of the body
    State state_ = State::incomplete;
    Part part_ = Part::size;
    std::size_t left_ = 0;        // bytes of the chunk
    std::size_t announced_ = 0;   // bytes of all chunks up to now
    std::size_t fieldBytes_ = 0;  // after the last chunk
    std::size_t scanned_ = 0;     // bytes of a line that are known not to end it
};

}  // namespace zentara::collector
