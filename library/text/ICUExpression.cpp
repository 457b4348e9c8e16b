#include "text/ICUExpression.h"

#include <unicode/utext.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <optional>
#include <utility>

#include "text/Unicode.h"

// A search may run twice: first in a kept matcher with a small stack, then, if that overflows, with
// the largest stack.

namespace zentara {

namespace {

/// A match ends without a result at the first report of ICU after this work.
constexpr std::int64_t unitsPerMatch = 70'000'000;
constexpr std::size_t stackLimit = 8'000'000;
/// ICU reports after each 10,000 saved states, which usually take this long.
constexpr std::int64_t statesPerReport = 10'000;
constexpr std::int64_t unitsPerStep = 200'000;
/// The most work between two reports, apart from scans of the text. Patterns that may take more are
/// not matched. The more a saved state may cost, the smaller is the stack.
constexpr std::int64_t unitsPerReport = 50'000'000;
/// Before the first report, the time by the clock counts as work up to this limit.
constexpr std::chrono::nanoseconds longestFirstSteps = std::chrono::milliseconds(50);
constexpr std::int64_t unitsPerCall = 200;
constexpr std::int64_t unitsPerByte = 2;
constexpr std::int64_t unitsPerCompilation = 10'000;
constexpr std::int64_t unitsPerPatternByte = 100;

constexpr std::size_t longestText = 32'768;
/// A text that takes more nanoseconds to scan is given to ICU in pieces: between two reports, each
/// saved state may come from a scan. Characters beyond Latin-1 take longer.
constexpr std::size_t longestScan = 3'000;
constexpr std::size_t timePerOtherUnit = 30;
constexpr char16_t lastLatinUnit = 0xFF;

/// The stack of a matcher that is kept for later matches. It never shrinks, so a match that needs
/// more has its own matcher.
constexpr std::size_t keptStack = 32 * 1024;

/// The processor time of this thread. Reading it takes several times as long as reading a clock.
std::chrono::nanoseconds threadTime() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

bool takesLongToScan(const UTF16Text& text) {
    if (text.size() > longestScan) return true;
    const auto others = std::count_if(text.data(), text.data() + text.size(),
                                      [](char16_t unit) { return unit > lastLatinUnit; });
    return text.size() + timePerOtherUnit * static_cast<std::size_t>(others) > longestScan;
}

/// A text that is given to ICU in pieces, so that a scan over it can be ended: ICU does not report
/// during a scan, but asks for pieces. Every few pieces `mayGoOn` is called. Once it returns false,
/// the text becomes a single letter of the whole length, and all scans end soon.
class PiecewiseText {
  public:
    static constexpr std::int64_t piece = 128;

    using MayGoOn = bool (*)(void* context);

    /// `text` must outlive this object and all clones of what `open` opens.
    PiecewiseText(const UTF16Text& text, MayGoOn mayGoOn, void* context) noexcept
        : text_(text), mayGoOn_(mayGoOn), context_(context) {}

    PiecewiseText(const PiecewiseText&) = delete;
    PiecewiseText& operator=(const PiecewiseText&) = delete;

    /// Opens `opened`, an initialised text, at the start.
    void open(UText& opened, UErrorCode& status) {
        setUp(&opened, this, static_cast<std::int64_t>(text_.size()), status);
    }

  private:
    static constexpr std::uint32_t piecesPerQuestion = 16;
    static constexpr char16_t letter[] = u"a";
    static const UTextFuncs functions;

    static UText* setUp(UText* text, const void* self, std::int64_t length, UErrorCode& status) {
        text = utext_setup(text, 0, &status);
        if (U_FAILURE(status)) return text;
        text->pFuncs = &functions;
        text->context = self;
        text->a = length;
        text->chunkContents = letter;
        return text;
    }

    static UText* U_CALLCONV clone(UText* copy, const UText* source, UBool /*deep*/,
                                   UErrorCode* status) {
        return setUp(copy, source->context, source->a, *status);
    }

    static std::int64_t U_CALLCONV length(UText* text) { return text->a; }

    static UBool U_CALLCONV access(UText* text, std::int64_t index, UBool forward) {
        auto& self = *static_cast<PiecewiseText*>(const_cast<void*>(text->context));
        return self.bring(*text, index, forward != 0);
    }

    static std::int32_t U_CALLCONV extract(UText* /*text*/, std::int64_t /*start*/,
                                           std::int64_t /*limit*/, char16_t* /*target*/,
                                           std::int32_t /*capacity*/, UErrorCode* status) {
        *status = U_UNSUPPORTED_ERROR;
        return 0;
    }

    // Only the single letter maps indices: to its start and its end.
    static std::int64_t U_CALLCONV nativeIndex(const UText* text) {
        return text->chunkOffset == 0 ? text->chunkNativeStart : text->chunkNativeLimit;
    }
    static std::int32_t U_CALLCONV unitIndex(const UText* /*text*/, std::int64_t /*index*/) {
        return 0;
    }

    /// Brings the piece around `index` into `opened`.
    bool bring(UText& opened, std::int64_t index, bool isForward) {
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
        const auto inside = isForward == isThere ? index : index - 1;
        const auto start = std::max<std::int64_t>(inside, 0) / piece * piece;
        const auto limit = std::min(start + piece, length);
        opened.chunkContents = text_.data() + start;
        opened.chunkLength = static_cast<std::int32_t>(limit - start);
        opened.chunkNativeStart = start;
        opened.chunkNativeLimit = limit;
        opened.nativeIndexingLimit = opened.chunkLength;
        opened.chunkOffset = static_cast<std::int32_t>(index - start);
        return isThere;
    }

    const UTF16Text& text_;
    const MayGoOn mayGoOn_;
    void* const context_;
    std::uint32_t pieces_ = 0;
    bool hasEnded_ = false;
};

const UTextFuncs PiecewiseText::functions = [] {
    UTextFuncs all{};
    all.tableSize = sizeof all;
    all.clone = &clone;
    all.nativeLength = &length;
    all.access = &access;
    all.extract = &extract;
    all.mapOffsetToNative = &nativeIndex;
    all.mapNativeIndexToUTF16 = &unitIndex;
    return all;
}();

}  // namespace

/// A matcher of ICU and the limits of its search.
class ICUExpression::Matcher {
  public:
    Matcher(Pointer expression, std::size_t stackSize) : expression_(std::move(expression)) {
        UErrorCode status = U_ZERO_ERROR;
        // ICU allows twice the size that it is given.
        uregex_setStackLimit(expression_.get(), static_cast<std::int32_t>(stackSize / 2), &status);
        uregex_setMatchCallback(expression_.get(), &Matcher::afterSteps, this, &status);
        uregex_setFindProgressCallback(expression_.get(), &Matcher::afterAttempt, this, &status);
    }

    Matcher(const Matcher&) = delete;
    Matcher& operator=(const Matcher&) = delete;

    /// Whether there is a match in `text`, found within `units` of work. Must not be called again
    /// after a text in pieces.
    bool find(const UTF16Text& text, bool isPiecewise, std::int64_t units) {
        limit_ = units;
        spent_ = 0;
        attempts_ = 0;
        isOver_ = false;
        started_ = std::chrono::steady_clock::now();
        threadTimeAtStart_.reset();
        // Some expressions scan the rest of the text at each position without saving a state. So
        // the longer the text, the more often the clock is read.
        attemptsPerClockReading_ = static_cast<std::uint32_t>(
            std::clamp<std::size_t>(65'536 / (text.size() + 1), 1, 1024));
        UErrorCode status = U_ZERO_ERROR;
        if (isPiecewise) {
            pieces_.emplace(
                text, [](void* self) { return static_cast<Matcher*>(self)->mayGoOn(); }, this);
            UText opened = UTEXT_INITIALIZER;
            pieces_->open(opened, status);
            uregex_setUText(expression_.get(), &opened, &status);
            utext_close(&opened);
        } else {
            uregex_setText(expression_.get(), text.data(), static_cast<std::int32_t>(text.size()),
                           &status);
        }
        const bool isFound = uregex_findNext(expression_.get(), &status) && U_SUCCESS(status);
        hasOverflowed_ = status == U_REGEX_STACK_OVERFLOW;
        // After the time is over, ICU has searched another text.
        return isFound && !isOver_;
    }

    /// Whether the search ended because the stack was too small.
    [[nodiscard]] bool hasOverflowed() const noexcept { return hasOverflowed_; }

    /// The cost of the search: its counted steps or its time, whichever is more, since some steps
    /// scan the text or copy many groups.
    [[nodiscard]] std::int64_t unitsSpent() const {
        return std::max<std::int64_t>(spent_, timeTaken().count());
    }

  private:
    static Matcher& self(const void* context) noexcept {
        return *static_cast<Matcher*>(const_cast<void*>(context));
    }

    static UBool U_CALLCONV afterSteps(const void* context, std::int32_t /*steps*/) {
        auto& matcher = self(context);
        matcher.spent_ += unitsPerStep;
        return matcher.mayGoOn();
    }

    static UBool U_CALLCONV afterAttempt(const void* context, std::int64_t /*index*/) {
        auto& matcher = self(context);
        if (++matcher.attempts_ % matcher.attemptsPerClockReading_ != 0) return true;
        return matcher.mayGoOn();
    }

    /// When the time by the clock is over, the processor time of the thread decides: no match is
    /// lost because the machine is busy or the process was stopped.
    [[nodiscard]] bool mayGoOn() {
        if (!threadTimeAtStart_) {
            threadTimeAtStart_ = threadTime() - std::min(timePassed(), longestFirstSteps);
        }
        isOver_ = (timePassed().count() < limit_ ? spent_ : unitsSpent()) >= limit_;
        return !isOver_;
    }

    [[nodiscard]] std::chrono::nanoseconds timePassed() const {
        return std::chrono::steady_clock::now() - started_;
    }
    [[nodiscard]] std::chrono::nanoseconds timeTaken() const {
        if (threadTimeAtStart_) return threadTime() - *threadTimeAtStart_;
        return std::min(timePassed(), std::chrono::nanoseconds(unitsPerMatch));
    }

    Pointer expression_;
    std::optional<PiecewiseText> pieces_;
    bool isOver_ = false;
    bool hasOverflowed_ = false;
    std::int64_t limit_ = 0;
    std::int64_t spent_ = 0;
    std::uint32_t attempts_ = 0;
    std::uint32_t attemptsPerClockReading_ = 1;
    std::chrono::steady_clock::time_point started_;
    std::optional<std::chrono::nanoseconds> threadTimeAtStart_;
};

std::unique_ptr<const ICUExpression> ICUExpression::open(std::string_view pattern) {
    if (pattern.size() > PatternCost::longestPattern) return nullptr;
    const PatternCost cost(pattern);
    if (cost.isTooHigh()) return nullptr;
    const UTF16Text units(pattern, pattern.size());
    UErrorCode status = U_ZERO_ERROR;
    Pointer prototype(
        uregex_open(units.data(), static_cast<std::int32_t>(units.size()), 0, nullptr, &status));
    if (U_FAILURE(status)) return nullptr;
    return std::unique_ptr<const ICUExpression>(new ICUExpression(std::move(prototype), cost));
}

std::unique_ptr<const ICUExpression> ICUExpression::compile(std::string_view pattern,
                                                            WorkAllowance* allowance) {
    const auto start = threadTime();
    auto expression = open(pattern);
    if (allowance != nullptr) {
        const auto counted =
            unitsPerCompilation + unitsPerPatternByte * static_cast<std::int64_t>(pattern.size());
        allowance->spend(std::max<std::int64_t>(counted, (threadTime() - start).count()));
    }
    return expression;
}

ICUExpression::ICUExpression(Pointer prototype, const PatternCost& cost)
    : prototype_(std::move(prototype)),
      cost_(cost),
      keepsMatcher_(cost.frameSize() < keptStack && !cost.usesBreakIterators()) {}

ICUExpression::~ICUExpression() {
    delete spare_.load();
}

std::size_t ICUExpression::size() const noexcept {
    return cost_.compiledSize() + (keepsMatcher_ ? keptStack : 0);
}

bool ICUExpression::matches(std::string_view text, std::size_t searchLength,
                            WorkAllowance* allowance) const {
    auto limit = unitsPerMatch;
    if (allowance != nullptr) {
        const auto cost = unitsPerCall + unitsPerByte * static_cast<std::int64_t>(text.size());
        if (!allowance->spend(cost)) return false;
        limit = std::min(limit, allowance->remaining());
    }
    const UTF16Text units(text, std::min(searchLength, longestText + 1));
    if (units.size() > longestText) return false;
    const bool isPiecewise = takesLongToScan(units);
    const auto timePerState = cost_.timePerState(units, PiecewiseText::piece);
    if (timePerState * statesPerReport > unitsPerReport) return false;

    if (keepsMatcher_ && !isPiecewise) {
        std::unique_ptr<Matcher> matcher(spare_.exchange(nullptr));
        if (!matcher) matcher = cloned(keptStack);
        if (!matcher) return false;
        const bool isFound = matcher->find(units, isPiecewise, limit);
        const auto spent = matcher->unitsSpent();
        if (allowance != nullptr) allowance->spend(spent);
        limit -= spent;
        const bool isEnough = !matcher->hasOverflowed();
        const std::unique_ptr<Matcher> previous(spare_.exchange(matcher.release()));
        if (isEnough || limit <= 0) return isFound;
    }
    const auto states =
        static_cast<std::size_t>(unitsPerReport / std::max<std::int64_t>(1, timePerState));
    const auto matcher = cloned(std::min(stackLimit, states * cost_.frameSize()));
    if (!matcher) return false;
    const bool isFound = matcher->find(units, isPiecewise, limit);
    if (allowance != nullptr) allowance->spend(matcher->unitsSpent());
    return isFound;
}

std::unique_ptr<ICUExpression::Matcher> ICUExpression::cloned(std::size_t stackSize) const {
    UErrorCode status = U_ZERO_ERROR;
    Pointer clone(uregex_clone(prototype_.get(), &status));
    if (U_FAILURE(status)) return nullptr;
    return std::make_unique<Matcher>(std::move(clone), stackSize);
}

}  // namespace zentara
