#include "text/PiecewiseText.h"

#include <algorithm>

namespace zentara {

namespace {

constexpr std::uint32_t piecesPerQuestion = 16;
constexpr char16_t letter[] = u"a";

UText* U_CALLCONV cloneText(UText* clone, const UText* source, UBool /*deep*/, UErrorCode* status) {
    clone = utext_setup(clone, 0, status);
    if (U_FAILURE(*status)) return clone;
    clone->pFuncs = source->pFuncs;
    clone->context = source->context;
    clone->a = source->a;
    clone->chunkContents = letter;
    return clone;
}

std::int64_t U_CALLCONV textLength(UText* text) {
    return text->a;
}

UBool U_CALLCONV accessText(UText* text, std::int64_t index, UBool forward) {
    auto& pieces = *static_cast<PiecewiseText*>(const_cast<void*>(text->context));
    return pieces.access(*text, index, forward != 0);
}

std::int32_t U_CALLCONV extractText(UText* /*text*/, std::int64_t /*start*/, std::int64_t /*limit*/,
                                    char16_t* /*target*/, std::int32_t /*capacity*/,
                                    UErrorCode* status) {
    *status = U_UNSUPPORTED_ERROR;
    return 0;
}

// Only the letter that stands for everything is mapped: where it starts and where it ends.
std::int64_t U_CALLCONV nativeIndex(const UText* text) {
    return text->chunkOffset == 0 ? text->chunkNativeStart : text->chunkNativeLimit;
}
std::int32_t U_CALLCONV unitIndex(const UText* /*text*/, std::int64_t /*index*/) {
    return 0;
}

const UTextFuncs functions = {sizeof(UTextFuncs),
                              0,
                              0,
                              0,
                              &cloneText,
                              &textLength,
                              &accessText,
                              &extractText,
                              nullptr,
                              nullptr,
                              &nativeIndex,
                              &unitIndex,
                              nullptr,
                              nullptr,
                              nullptr,
                              nullptr};

}  // namespace

void PiecewiseText::open(UText& opened, UErrorCode& status) {
    utext_setup(&opened, 0, &status);
    if (U_FAILURE(status)) return;
    opened.pFuncs = &functions;
    opened.context = this;
    opened.a = static_cast<std::int64_t>(text_.size());
    opened.chunkContents = letter;
}

bool PiecewiseText::access(UText& opened, std::int64_t index, bool isForward) {
    const auto length = opened.a;
    index = std::clamp<std::int64_t>(index, 0, length);
    const bool isThere = isForward ? index < length : index > 0;
    if (!hasEnded_ && ++pieces_ % piecesPerQuestion == 0) hasEnded_ = !mayGoOn_(context_);
    if (hasEnded_) {
        // The letter reaches from the index to the end, or from the start to the index.
        const bool reachesToEnd = isForward == isThere;
        opened.chunkContents = letter;
        opened.chunkLength = length > 0 ? 1 : 0;
        opened.chunkNativeStart = reachesToEnd ? index : 0;
        opened.chunkNativeLimit = reachesToEnd ? length : index;
        opened.nativeIndexingLimit = 0;
        opened.chunkOffset = reachesToEnd ? 0 : opened.chunkLength;
        return isThere;
    }
    constexpr auto size = static_cast<std::int64_t>(piece);
    const auto inside = isForward == isThere ? index : index - 1;
    const auto start = std::max<std::int64_t>(inside, 0) / size * size;
    const auto limit = std::min(start + size, length);
    opened.chunkContents = text_.data() + start;
    opened.chunkLength = static_cast<std::int32_t>(limit - start);
    opened.chunkNativeStart = start;
    opened.chunkNativeLimit = limit;
    opened.nativeIndexingLimit = opened.chunkLength;
    opened.chunkOffset = static_cast<std::int32_t>(index - start);
    return isThere;
}

}  // namespace zentara
