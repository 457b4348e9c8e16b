#include "support/FatalError.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <iterator>

namespace zentara {

void fatalError(std::string_view cause) noexcept {
    // One write of one line from a fixed buffer: it must not need memory, and lines of other
    // threads must not get into it.
    constexpr std::string_view prefix = "ZentaraClient: fatal error: ";
    char line[1024];
    const std::size_t length = std::min(cause.size(), sizeof line - prefix.size() - 1);
    char* end = std::copy(prefix.begin(), prefix.end(), line);
    end = std::replace_copy_if(
        cause.data(), cause.data() + length, end,
        [](unsigned char character) { return character < ' '; }, ' ');
    *end++ = '\n';
    const char* next = line;
    while (next != end) {
        const ssize_t written = ::write(
            STDERR_FILENO, next, static_cast<std::size_t>(std::distance<const char*>(next, end)));
        if (written <= 0) break;
        next += written;
    }
    std::abort();
}

}  // namespace zentara
