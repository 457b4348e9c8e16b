#pragma once

#include <unicode/utext.h>

#include <cstddef>
#include <cstdint>

#include "text/UTF16Text.h"

namespace zentara {

/// A text that is handed to ICU in pieces, so that a scan over all of it, which reports nothing by
/// itself, can be ended: each time a few pieces were asked for, `mayGoOn` is. Once it says no, the
/// text turns into a single letter that takes up the whole length, and all scans soon end.
class PiecewiseText {
  public:
    static constexpr std::size_t piece = 128;

    using MayGoOn = bool (*)(void* context);

    /// Refers to `text`, which must outlive this and all clones of what `open` returns.
    PiecewiseText(const UTF16Text& text, MayGoOn mayGoOn, void* context) noexcept
        : text_(text), mayGoOn_(mayGoOn), context_(context) {}

    PiecewiseText(const PiecewiseText&) = delete;
    PiecewiseText& operator=(const PiecewiseText&) = delete;

    /// Opens `opened`, an initialised text, at the start.
    void open(UText& opened, UErrorCode& status);

    /// Brings the piece around `index` into `opened`; as the accessor of a text in ICU.
    bool access(UText& opened, std::int64_t index, bool isForward);

  private:
    const UTF16Text& text_;
    const MayGoOn mayGoOn_;
    void* const context_;
    std::uint32_t pieces_ = 0;
    bool hasEnded_ = false;
};

}  // namespace zentara
