#include "track/ProgressBar.h"

#include <unistd.h>

#include <algorithm>
#include <utility>

namespace zentara::track {

namespace {

constexpr std::size_t barWidth = 32;

}  // namespace

ProgressBar::Style ProgressBar::styleFor(std::FILE* stream) {
    return isatty(fileno(stream)) == 1 ? Style::bar : Style::lines;
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

void ProgressBar::draw(std::size_t done) {
    const std::size_t filled = done * barWidth / total_;
    const std::string bar = std::string(filled, '#') + std::string(barWidth - filled, '.');
    std::fprintf(stream_, "\r%s [%s] %zu/%zu", label_.c_str(), bar.c_str(), done, total_);
    std::fflush(stream_);
    onBar_ = true;
}

}  // namespace zentara::track
