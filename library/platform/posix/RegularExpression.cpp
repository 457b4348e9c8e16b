#include "platform/RegularExpression.h"

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

#include "platform/ASCIIPattern.h"
#include "platform/posix/UTF16Text.h"
#include "support/Mutex.h"

namespace zentara {

namespace {

constexpr std::int64_t unitsPerMatch = 100'000'000;
constexpr std::int32_t stackLimit = 8'000'000;
/// ICU reports after each 10,000 saved states, which take about this long.
constexpr std::int64_t unitsPerStep = 200'000;
/// What a match is taken to have worked at most before the first report.
constexpr std::chrono::nanoseconds longestFirstSteps = std::chrono::milliseconds(50);
constexpr std::int64_t unitsPerCall = 200;
constexpr std::int64_t unitsPerByte = 2;
constexpr std::int64_t unitsPerLookUp = 150;
constexpr std::int64_t unitsPerCompilation = 10'000;
constexpr std::int64_t unitsPerPatternByte = 100;

/// What the full engine looks at: up to ten thousand scans of the whole text may pass before it
/// lets the clock be read. Scans that ignore case are slow, and those that compare with what a
/// group has matched are as long as that.
constexpr std::size_t longestText = 32'768;
constexpr std::size_t slowerIgnoringCase = 4;
constexpr std::size_t slowerReferringBack = 4;
constexpr std::size_t longestPattern = 16'384;

/// A matcher keeps the stack that its matches have grown: one whose stack may be larger than this
/// is not kept.
constexpr std::size_t largestKeptStack = 128 * 1024;

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
    explicit Matcher(ExpressionPointer expression) : expression_(std::move(expression)) {
        UErrorCode status = U_ZERO_ERROR;
        uregex_setStackLimit(expression_.get(), stackLimit, &status);
        uregex_setMatchCallback(expression_.get(), &Matcher::afterSteps, this, &status);
        uregex_setFindProgressCallback(expression_.get(), &Matcher::afterAttempt, this, &status);
    }

    Matcher(const Matcher&) = delete;
    Matcher& operator=(const Matcher&) = delete;

    /// Starts over with a text that must outlive the finds.
    bool start(const UTF16Text& text, std::int64_t units) {
        limit_ = units;
        spent_ = 0;
        attempts_ = 0;
        started_ = std::chrono::steady_clock::now();
        threadTimeAtStart_.reset();
        // Some expressions scan the rest of the text from each place without saving a state, so
        // the longer the text the more often the clock is read.
        attemptsPerClockReading_ = static_cast<std::uint32_t>(
            std::clamp<std::size_t>(65'536 / (text.size() + 1), 1, 1024));
        UErrorCode status = U_ZERO_ERROR;
        uregex_setText(expression_.get(), text.data(), static_cast<std::int32_t>(text.size()),
                       &status);
        return U_SUCCESS(status);
    }

    bool findNext() {
        UErrorCode status = U_ZERO_ERROR;
        return uregex_findNext(expression_.get(), &status) && U_SUCCESS(status);
    }

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

    /// Whether the match was too short to reach the first report of steps.
    [[nodiscard]] bool wasShort() const noexcept { return spent_ == 0; }

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

    /// A match that turns out not to be short goes by what this thread works: while the machine is
    /// busy with others, or the process is stopped, no match gets lost.
    [[nodiscard]] bool mayGoOn() {
        if (!threadTimeAtStart_) {
            threadTimeAtStart_ = threadTime() - std::min(timePassed(), longestFirstSteps);
        }
        return timePassed().count() < limit_ ? spent_ < limit_ : unitsSpent() < limit_;
    }

    [[nodiscard]] std::chrono::nanoseconds timePassed() const {
        return std::chrono::steady_clock::now() - started_;
    }
    [[nodiscard]] std::chrono::nanoseconds timeTaken() const {
        if (threadTimeAtStart_) return threadTime() - *threadTimeAtStart_;
        return std::min(timePassed(), std::chrono::nanoseconds(unitsPerMatch));
    }

    ExpressionPointer expression_;
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

bool isOneOf(char c, std::string_view characters) noexcept {
    return characters.find(c) != std::string_view::npos;
}

bool ignoresCase(std::string_view pattern) noexcept {
    for (auto at = pattern.find("(?"); at != std::string_view::npos; at = pattern.find("(?", at)) {
        at += 2;
        const auto flags = pattern.substr(at, pattern.find_first_of(":)", at) - at);
        if (flags.find('i') != std::string_view::npos) return true;
    }
    return false;
}

bool refersBack(std::string_view pattern) noexcept {
    for (auto at = pattern.find('\\'); at != std::string_view::npos && at + 1 < pattern.size();
         at = pattern.find('\\', at + 2)) {
        if (isOneOf(pattern[at + 1], "123456789k")) return true;
    }
    return false;
}

std::size_t longestTextFor(std::string_view pattern) noexcept {
    return longestText / (ignoresCase(pattern) ? slowerIgnoringCase : 1) /
           (refersBack(pattern) ? slowerReferringBack : 1);
}

/// How many character sets the engine builds for the pattern, at most. Those of \w and the like
/// exist already, but within brackets they are copied.
std::size_t countSets(std::string_view pattern) noexcept {
    std::size_t sets = 0;
    bool hasBrackets = false;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '[') {
            ++sets;
            hasBrackets = true;
        } else if (pattern[i] == '\\' && i + 1 < pattern.size()) {
            ++i;
            if (isOneOf(pattern[i], hasBrackets ? "pPNwWsSdDhHvV" : "pPN")) ++sets;
        }
    }
    return sets;
}

/// About how many bytes the compiled form takes.
std::size_t estimatedSize(std::string_view pattern) noexcept {
    constexpr std::size_t bytesPerExpression = 4096;
    constexpr std::size_t bytesPerSet = 8192;
    return bytesPerExpression + 8 * pattern.size() + bytesPerSet * countSets(pattern);
}

/// At most how many bytes of state the engine saves for each alternative, about: its groups and
/// counters take up to three words each.
std::size_t estimatedFrameSize(std::string_view pattern) noexcept {
    const auto slots =
        std::count_if(pattern.begin(), pattern.end(), [](char c) { return isOneOf(c, "({*+"); });
    return 8 * (4 + 3 * static_cast<std::size_t>(slots));
}

/// Whether compiling would take longer than a host can wait. Compiling cannot be interrupted, takes
/// time that grows with the square of the length, and builds character sets at up to 5 ms each
/// where case is ignored and up to 0.1 ms elsewhere.
bool isTooCostlyToCompile(std::string_view pattern) noexcept {
    constexpr std::size_t mostSets = 2'000;
    constexpr std::size_t mostSetsIgnoringCase = 100;
    if (pattern.size() > longestPattern) return true;
    const auto sets = countSets(pattern);
    return sets >
           (sets > mostSetsIgnoringCase && ignoresCase(pattern) ? mostSetsIgnoringCase : mostSets);
}

ExpressionPointer open(std::string_view pattern) {
    if (isTooCostlyToCompile(pattern)) return nullptr;
    const UTF16Text units(pattern, pattern.size());
    UErrorCode status = U_ZERO_ERROR;
    ExpressionPointer expression(
        uregex_open(units.data(), static_cast<std::int32_t>(units.size()), 0, nullptr, &status));
    return U_SUCCESS(status) ? std::move(expression) : nullptr;
}

}  // namespace

/// A compiled pattern that is never matched itself: each match takes a matcher cloned from it. The
/// last matcher used is kept for the next match, so that a single thread clones once.
class RegularExpression::Compiled {
  public:
    Compiled(ExpressionPointer prototype, std::string_view pattern)
        : prototype_(std::move(prototype)),
          quick_(ASCIIPattern::compile(pattern)),
          longestText_(longestTextFor(pattern)),
          longestTextOfKeptMatcher_(largestKeptStack / estimatedFrameSize(pattern)) {}
    ~Compiled() { delete spare_.load(); }

    Compiled(const Compiled&) = delete;
    Compiled& operator=(const Compiled&) = delete;

    /// The answer of the quick road; nothing when it cannot be taken.
    [[nodiscard]] std::optional<bool> matchQuickly(std::string_view text, std::size_t searchLength,
                                                   WorkAllowance* allowance) const {
        if (!quick_ || !ASCIIPattern::accepts(text)) return std::nullopt;
        const auto searched = text.substr(0, searchLength);
        const auto cost = quick_->costPerByte() * static_cast<std::int64_t>(searched.size() + 1);
        if (allowance != nullptr && !allowance->spend(cost)) return false;
        return quick_->matches(searched);
    }

    /// Runs `visit(matcher)` with a matcher at the start of the searched text, within the limits.
    template <typename Visit>
    void match(std::string_view text, std::size_t searchLength, WorkAllowance* allowance,
               const Visit& visit) const {
        auto limit = unitsPerMatch;
        if (allowance != nullptr) {
            const auto cost = unitsPerCall + unitsPerByte * static_cast<std::int64_t>(text.size());
            if (!allowance->spend(cost)) return;
            limit = std::min(limit, allowance->remaining());
        }
        const UTF16Text units(text, std::min(searchLength, longestText_ + 1));
        if (units.size() > longestText_) return;
        auto matcher = take();
        if (!matcher || !matcher->start(units, limit)) return;
        visit(*matcher);
        if (allowance != nullptr) allowance->spend(matcher->unitsSpent());
        if (matcher->wasShort() && units.size() <= longestTextOfKeptMatcher_) {
            const std::unique_ptr<Matcher> previous(spare_.exchange(matcher.release()));
        }
    }

  private:
    [[nodiscard]] std::unique_ptr<Matcher> take() const {
        if (auto* const spare = spare_.exchange(nullptr)) return std::unique_ptr<Matcher>(spare);
        UErrorCode status = U_ZERO_ERROR;
        ExpressionPointer clone(uregex_clone(prototype_.get(), &status));
        if (U_FAILURE(status)) return nullptr;
        return std::make_unique<Matcher>(std::move(clone));
    }

    const ExpressionPointer prototype_;
    const std::optional<ASCIIPattern> quick_;
    const std::size_t longestText_;
    const std::size_t longestTextOfKeptMatcher_;
    mutable std::atomic<Matcher*> spare_{nullptr};
};

/// The process's compiled patterns, invalid ones (null) included. Two generations: a pattern that
/// is used moves to the young one; when that is full, of patterns or of memory, it becomes the old
/// one, and what nobody has used since is dropped.
class RegularExpression::Cache {
  public:
    using Entry = std::shared_ptr<const Compiled>;

    static Cache& shared() {
        static auto& cache = *new Cache;  // never destroyed: used until the process ends
        return cache;
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
        if (pattern.size() > longestPattern) return;
        const MutexLock lock(mutex_);
        makeRoom(sizeOf(pattern, entry));
        young_.emplace(pattern, entry);
    }

  private:
    static constexpr std::size_t patternsPerGeneration = 512;
    static constexpr std::size_t bytesPerGeneration = 16 * 1024 * 1024;
    using Generation = std::unordered_map<std::string, Entry, TextHash, std::equal_to<>>;

    /// Of what is not valid only the text is kept.
    static std::size_t sizeOf(std::string_view pattern, const Entry& entry) {
        return entry == nullptr ? pattern.size() : estimatedSize(pattern);
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
        const auto start = std::chrono::steady_clock::now();
        auto expression = open(pattern);
        if (allowance != nullptr) {
            const std::chrono::nanoseconds took = std::chrono::steady_clock::now() - start;
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
        while (ranges.size() < limit && matcher.findNext())
            ranges.push_back(matcher.range());
    });
    return ranges;
}

}  // namespace zentara
