#include "text/RegularExpression.h"

#include <unicode/uregex.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <ctime>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <unordered_map>

#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "text/ASCIIPattern.h"
#include "text/PatternForm.h"
#include "text/PiecewiseText.h"
#include "text/UTF16Text.h"

namespace zentara {

namespace {

/// After which a match is given up at its next report.
constexpr std::int64_t unitsPerMatch = 70'000'000;
constexpr std::size_t stackLimit = 8'000'000;
/// ICU reports after each 10,000 saved states, which take about this long.
constexpr std::int64_t statesPerReport = 10'000;
constexpr std::int64_t unitsPerStep = 200'000;
/// What may pass between two reports beside scans of the text. Patterns of which more is to be
/// feared are not matched, and the stack is smaller the more each of its states can set off.
constexpr std::int64_t unitsPerReport = 50'000'000;
/// What a match is taken to have worked at most before the first report.
constexpr std::chrono::nanoseconds longestFirstSteps = std::chrono::milliseconds(50);
constexpr std::int64_t unitsPerCall = 200;
constexpr std::int64_t unitsPerByte = 2;
constexpr std::int64_t unitsPerLookUp = 150;
constexpr std::int64_t unitsPerCompilation = 10'000;
constexpr std::int64_t unitsPerPatternByte = 100;

constexpr std::size_t longestText = 32'768;
/// How long a text may take to scan, in nanoseconds, that is handed over whole: each of the states
/// between two reports may have come from a scan. The sets that ICU looks characters beyond Latin-1
/// up in take that much longer.
constexpr std::size_t longestScan = 3'000;
constexpr std::size_t timePerOtherUnit = 30;
constexpr char16_t lastLatinUnit = 0xFF;

/// The stack of a matcher that is kept for later matches, which never shrinks. A match that needs
/// more gets a matcher of its own.
constexpr std::size_t keptStack = 32 * 1024;

struct Closer {
    void operator()(URegularExpression* expression) const noexcept { uregex_close(expression); }
};
using ExpressionPointer = std::unique_ptr<URegularExpression, Closer>;

/// How long this thread has worked. Reading it takes several times as long as reading a clock.
std::chrono::nanoseconds threadTime() noexcept {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// One ICU matcher, which holds the state of one match, and the limits of that match.
class Matcher {
  public:
    Matcher(ExpressionPointer expression, std::size_t stackSize)
        : expression_(std::move(expression)) {
        UErrorCode status = U_ZERO_ERROR;
        // Taken for half of what it is.
        uregex_setStackLimit(expression_.get(), static_cast<std::int32_t>(stackSize / 2), &status);
        uregex_setMatchCallback(expression_.get(), &Matcher::afterSteps, this, &status);
        uregex_setFindProgressCallback(expression_.get(), &Matcher::afterAttempt, this, &status);
    }

    Matcher(const Matcher&) = delete;
    Matcher& operator=(const Matcher&) = delete;

    /// Starts over with a text that must outlive the finds. After `startPiecewise` there must be
    /// no further start.
    bool start(const UTF16Text& text, std::int64_t units) {
        prepare(text, units);
        UErrorCode status = U_ZERO_ERROR;
        uregex_setText(expression_.get(), text.data(), static_cast<std::int32_t>(text.size()),
                       &status);
        return U_SUCCESS(status);
    }
    bool startPiecewise(const UTF16Text& text, std::int64_t units) {
        prepare(text, units);
        pieces_.emplace(
            text, [](void* self) { return static_cast<Matcher*>(self)->mayGoOn(); }, this);
        UText opened = UTEXT_INITIALIZER;
        UErrorCode status = U_ZERO_ERROR;
        pieces_->open(opened, status);
        uregex_setUText(expression_.get(), &opened, &status);
        utext_close(&opened);
        return U_SUCCESS(status);
    }

    bool findNext() {
        UErrorCode status = U_ZERO_ERROR;
        const bool isFound = uregex_findNext(expression_.get(), &status) && U_SUCCESS(status);
        hasOverflowed_ = status == U_REGEX_STACK_OVERFLOW;
        // What is found after the end of the time is found in another text.
        return isFound && !isOver_;
    }

    /// Whether the last search ended because the stack was too small.
    [[nodiscard]] bool hasOverflowed() const noexcept { return hasOverflowed_; }

    [[nodiscard]] RegularExpression::Range range() const {
        UErrorCode status = U_ZERO_ERROR;
        const auto start = static_cast<std::size_t>(uregex_start(expression_.get(), 0, &status));
        const auto end = static_cast<std::size_t>(uregex_end(expression_.get(), 0, &status));
        return {start, end - start};
    }

    /// What the match has cost so far: what it did or the time it took, whichever is more, since
    /// some steps scan the text or copy many groups.
    [[nodiscard]] std::int64_t unitsSpent() const {
        return std::max<std::int64_t>(spent_, timeTaken().count());
    }

  private:
    void prepare(const UTF16Text& text, std::int64_t units) {
        limit_ = units;
        spent_ = 0;
        attempts_ = 0;
        isOver_ = false;
        started_ = std::chrono::steady_clock::now();
        threadTimeAtStart_.reset();
        // Some expressions scan the rest of the text from each place without saving a state, so
        // the longer the text the more often the clock is read.
        attemptsPerClockReading_ = static_cast<std::uint32_t>(
            std::clamp<std::size_t>(65'536 / (text.size() + 1), 1, 1024));
    }

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

    /// A match that turns out not to be short goes by what this thread works: while the machine is
    /// busy with others, or the process is stopped, no match gets lost.
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

    ExpressionPointer expression_;
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

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>()(text);
    }
};

ExpressionPointer open(std::string_view pattern) {
    if (pattern.size() > PatternForm::longestPattern) return nullptr;
    if (PatternForm(pattern).isTooCostlyToCompile()) return nullptr;
    const UTF16Text units(pattern, pattern.size());
    UErrorCode status = U_ZERO_ERROR;
    ExpressionPointer expression(
        uregex_open(units.data(), static_cast<std::int32_t>(units.size()), 0, nullptr, &status));
    return U_SUCCESS(status) ? std::move(expression) : nullptr;
}

bool takesLongToScan(const UTF16Text& text) {
    if (text.size() > longestScan) return true;
    const auto others = std::count_if(text.data(), text.data() + text.size(),
                                      [](char16_t unit) { return unit > lastLatinUnit; });
    return text.size() + timePerOtherUnit * static_cast<std::size_t>(others) > longestScan;
}

}  // namespace

/// A compiled pattern that is never matched itself: each match takes a matcher cloned from it. The
/// last matcher with a small stack is kept for the next match, so that a single thread clones once.
class RegularExpression::Compiled {
  public:
    Compiled(ExpressionPointer prototype, std::string_view pattern)
        : prototype_(std::move(prototype)),
          quick_(ASCIIPattern::compile(pattern)),
          form_(pattern),
          keepsMatcher_(form_.frameSize() < keptStack && !form_.usesBreakIterators()) {}
    ~Compiled() { delete spare_.load(); }

    Compiled(const Compiled&) = delete;
    Compiled& operator=(const Compiled&) = delete;

    /// How many bytes this takes, and the matcher that is kept.
    [[nodiscard]] std::size_t size() const noexcept {
        return form_.compiledSize() + (keepsMatcher_ ? keptStack : 0);
    }

    /// The answer of the quick road; nothing when it cannot be taken.
    [[nodiscard]] std::optional<bool> matchQuickly(std::string_view text, std::size_t searchLength,
                                                   WorkAllowance* allowance) const {
        if (!quick_ || !ASCIIPattern::accepts(text)) return std::nullopt;
        const auto searched = text.substr(0, searchLength);
        const auto cost = quick_->costPerByte() * static_cast<std::int64_t>(searched.size() + 1);
        if (allowance != nullptr && !allowance->spend(cost)) return false;
        return quick_->matches(searched);
    }

    /// Runs `visit(matcher)` with a matcher at the start of the searched text, within the limits;
    /// once more when the first one's stack was too small.
    template <typename Visit>
    void match(std::string_view text, std::size_t searchLength, WorkAllowance* allowance,
               const Visit& visit) const {
        auto limit = unitsPerMatch;
        if (allowance != nullptr) {
            const auto cost = unitsPerCall + unitsPerByte * static_cast<std::int64_t>(text.size());
            if (!allowance->spend(cost)) return;
            limit = std::min(limit, allowance->remaining());
        }
        const UTF16Text units(text, std::min(searchLength, longestText + 1));
        if (units.size() > longestText) return;
        const bool isPiecewise = takesLongToScan(units);
        const auto timePerState = form_.timePerState(units, PiecewiseText::piece);
        if (timePerState * statesPerReport > unitsPerReport) return;

        if (keepsMatcher_ && !isPiecewise) {
            auto matcher = take();
            if (!matcher || !matcher->start(units, limit)) return;
            visit(*matcher);
            const auto spent = matcher->unitsSpent();
            if (allowance != nullptr) allowance->spend(spent);
            limit -= spent;
            const bool isEnough = !matcher->hasOverflowed();
            const std::unique_ptr<Matcher> previous(spare_.exchange(matcher.release()));
            if (isEnough || limit <= 0) return;
        }
        const auto states =
            static_cast<std::size_t>(unitsPerReport / std::max<std::int64_t>(1, timePerState));
        const auto matcher = cloned(std::min(stackLimit, states * form_.frameSize()));
        if (!matcher) return;
        if (!(isPiecewise ? matcher->startPiecewise(units, limit) : matcher->start(units, limit)))
            return;
        visit(*matcher);
        if (allowance != nullptr) allowance->spend(matcher->unitsSpent());
    }

  private:
    [[nodiscard]] std::unique_ptr<Matcher> take() const {
        if (auto* const spare = spare_.exchange(nullptr)) return std::unique_ptr<Matcher>(spare);
        return cloned(keptStack);
    }
    [[nodiscard]] std::unique_ptr<Matcher> cloned(std::size_t stackSize) const {
        UErrorCode status = U_ZERO_ERROR;
        ExpressionPointer clone(uregex_clone(prototype_.get(), &status));
        if (U_FAILURE(status)) return nullptr;
        return std::make_unique<Matcher>(std::move(clone), stackSize);
    }

    const ExpressionPointer prototype_;
    const std::optional<ASCIIPattern> quick_;
    const PatternForm form_;
    const bool keepsMatcher_;
    mutable std::atomic<Matcher*> spare_{nullptr};
};

/// The process's compiled patterns, invalid ones (null) included. Two generations: a pattern that
/// is used moves to the young one; when that is full, of patterns or of memory, it becomes the old
/// one, and what was not used since is dropped.
class RegularExpression::Cache {
  public:
    using Entry = std::shared_ptr<const Compiled>;

    static Cache& shared() {
        static NoDestructor<Cache> cache;
        return *cache;
    }

    [[nodiscard]] std::optional<Entry> find(std::string_view pattern) {
        const MutexLock lock(mutex_);
        if (const auto found = young_.find(pattern); found != young_.end()) return found->second;
        const auto found = old_.find(pattern);
        if (found == old_.end()) return std::nullopt;
        auto node = old_.extract(found);
        auto entry = node.mapped();
        makeRoom(sizeOf(pattern, entry));
        young_.insert(std::move(node));
        return entry;
    }

    void add(std::string_view pattern, const Entry& entry) {
        if (pattern.size() > PatternForm::longestPattern) return;
        const MutexLock lock(mutex_);
        makeRoom(sizeOf(pattern, entry));
        young_.emplace(pattern, entry);
    }

  private:
    static constexpr std::size_t patternsPerGeneration = 512;
    static constexpr std::size_t bytesPerGeneration = 16 * 1024 * 1024;
    using Generation = std::unordered_map<std::string, Entry, TextHash, std::equal_to<>>;

    static std::size_t sizeOf(std::string_view pattern, const Entry& entry) {
        constexpr std::size_t bytesPerNode = 128;
        return bytesPerNode + pattern.size() + (entry == nullptr ? 0 : entry->size());
    }

    /// Makes room for one more pattern of that size in the young generation.
    void makeRoom(std::size_t size) ZENTARA_REQUIRES(mutex_) {
        if (young_.size() == patternsPerGeneration || youngSize_ + size > bytesPerGeneration) {
            old_ = std::move(young_);
            young_.clear();
            youngSize_ = 0;
        }
        youngSize_ += size;
    }

    Mutex mutex_;
    Generation young_ ZENTARA_GUARDED_BY(mutex_);
    Generation old_ ZENTARA_GUARDED_BY(mutex_);
    std::size_t youngSize_ ZENTARA_GUARDED_BY(mutex_) = 0;
};

std::optional<RegularExpression> RegularExpression::compile(std::string_view pattern,
                                                            WorkAllowance* allowance) {
    if (allowance != nullptr) {
        allowance->spend(unitsPerLookUp + static_cast<std::int64_t>(pattern.size()));
    }
    auto& cache = Cache::shared();
    auto cached = cache.find(pattern);
    if (!cached) {
        const auto start = threadTime();
        auto expression = open(pattern);
        if (allowance != nullptr) {
            const auto took = threadTime() - start;
            const auto least = unitsPerCompilation +
                               unitsPerPatternByte * static_cast<std::int64_t>(pattern.size());
            allowance->spend(std::max<std::int64_t>(least, took.count()));
        }
        cached =
            expression ? std::make_shared<const Compiled>(std::move(expression), pattern) : nullptr;
        cache.add(pattern, *cached);
    }
    if (*cached == nullptr) return std::nullopt;
    return RegularExpression(*std::move(cached));
}

bool RegularExpression::matches(std::string_view text, std::size_t searchLength,
                                WorkAllowance* allowance) const {
    if (const auto answer = compiled_->matchQuickly(text, searchLength, allowance)) return *answer;
    bool found = false;
    compiled_->match(text, searchLength, allowance,
                     [&found](Matcher& matcher) { found = matcher.findNext(); });
    return found;
}

std::vector<RegularExpression::Range> RegularExpression::findAll(std::string_view text,
                                                                 std::size_t searchLength,
                                                                 std::size_t limit,
                                                                 WorkAllowance* allowance) const {
    std::vector<Range> ranges;
    compiled_->match(text, searchLength, allowance, [&ranges, limit](Matcher& matcher) {
        ranges.clear();
        while (ranges.size() < limit && matcher.findNext())
            ranges.push_back(matcher.range());
    });
    return ranges;
}

}  // namespace zentara
