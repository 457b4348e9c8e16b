#pragma once

#include <cstddef>
#include <cstdio>
#include <string>

namespace zentara::track {

/// Shows progress: on a terminal a bar that is redrawn in place, elsewhere a line for each
/// quarter.
class ProgressBar {
  public:
    enum class Style { bar, lines };

    /// The style for `stream`.
    [[nodiscard]] static Style styleFor(std::FILE* stream);

    /// The text of a bar, in less than `columns`. Without room the bar itself is omitted.
    [[nodiscard]] static std::string text(const std::string& label, std::size_t done,
                                          std::size_t total, std::size_t columns);

    ProgressBar(std::FILE* stream, Style style, std::string label, std::size_t total);

    /// Shows `done` of the total; more than the total counts as the total.
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
