#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace zentara::track {

/// Shows how much of a known amount is done: on a terminal a bar that is drawn again in place,
/// elsewhere a plain line for each quarter.
class ProgressBar {
  public:
    enum class Style { bar, lines };

    /// The style that suits `stream`.
    [[nodiscard]] static Style styleFor(std::FILE* stream);

    /// What a bar shows, in less than `columns`. The bar itself goes first where there is no room.
    [[nodiscard]] static std::string text(const std::string& label, std::size_t done,
                                          std::size_t total, std::size_t columns);

    ProgressBar(std::FILE* stream, Style style, std::string label, std::size_t total);

    /// Shows that `done` of the total are done; more than the total counts as the total.
    void show(std::size_t done);

    /// Shows the total if `complete`, and leaves the line.
    void finish(bool complete);

  private:
    void draw(std::size_t done);

    std::FILE* stream_;
    Style style_;
    std::string label_;
    std::size_t total_;
    std::size_t quartersShown_ = 0;
    bool onBar_ = false;
};

}  // namespace zentara::track
