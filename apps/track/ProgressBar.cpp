#include "track/ProgressBar.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <utility>

namespace zentara::track {

namespace {

constexpr std::size_t longestBar = 32;
constexpr std::size_t shortestBar = 4;

std::size_t columnsOf(std::FILE* stream) {
    winsize size{};
    if (ioctl(fileno(stream), TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

}  // namespace

ProgressBar::Style ProgressBar::styleFor(std::FILE* stream) {
    // A "dumb" terminal cannot redraw a line.
    const char* const terminal = std::getenv("TERM");
    const bool isDumb = terminal == nullptr || std::string_view(terminal) == "dumb";
    return isatty(fileno(stream)) == 1 && !isDumb ? Style::bar : Style::lines;
}

ProgressBar::ProgressBar(std::FILE* stream, Style style, std::string label, std::size_t total)
    : stream_(stream), style_(style), label_(std::move(label)), total_(total) {}

void ProgressBar::show(std::size_t done) {
    if (total_ == 0) return;
    done = std::min(done, total_);
    if (style_ == Style::bar) return draw(done);
    const std::size_t quarters = done * 4 / total_;
    if (quarters <= quartersShown_) return;
    quartersShown_ = quarters;
    std::fprintf(stream_, "%s %zu/%zu\n", label_.c_str(), done, total_);
}

void ProgressBar::finish(bool complete) {
    if (complete) show(total_);
    if (onBar_) std::fputc('\n', stream_);
    onBar_ = false;
}

std::string ProgressBar::text(const std::string& label, std::size_t done, std::size_t total,
                              std::size_t columns) {
    const std::string counts = std::to_string(done) + "/" + std::to_string(total);
    // Two spaces, the brackets, and the last column, where a terminal begins a new line.
    const std::size_t taken = label.size() + counts.size() + 5;
    if (columns < taken + shortestBar)
        return counts.substr(0, std::max<std::size_t>(columns, 1) - 1);
    const std::size_t width = std::min(longestBar, columns - taken);
    const std::size_t filled = done * width / total;
    return label + " [" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
           counts;
}

void ProgressBar::draw(std::size_t done) {
    std::fprintf(stream_, "\r%s", text(label_, done, total_, columnsOf(stream_)).c_str());
    std::fflush(stream_);
    onBar_ = true;
}

}  // namespace zentara::track
