#include "platform/RegularExpression.h"

#include <unicode/uregex.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
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
constexpr std::int64_t unitsPerCall = 200;
constexpr std::int64_t unitsPerByte = 2;
constexpr std::int64_t unitsPerQuickByte = 10;
constexpr std::int64_t unitsPerCompilation = 10'000;
constexpr std::int64_t unitsPerPatternByte = 100;

/// A matcher that has seen a longer text may hold a large stack; it is not kept.
constexpr std::size_t longestTextOfKeptMatcher = 1024;

struct Closer {
    void operator()(URegularExpression* expression) const noexcept { uregex_close(expression); }
};
using ExpressionPointer = std::unique_ptr<URegularExpression, Closer>;

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
        left_ = units;
        attempts_ = 0;
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

    [[nodiscard]] std::int64_t unitsLeft() const noexcept { return left_; }

  private:
    static Matcher& self(const void* context) noexcept {
        return *static_cast<Matcher*>(const_cast<void*>(context));
    }

    static UBool U_CALLCONV afterSteps(const void* context, std::int32_t /*steps*/) {
        auto& matcher = self(context);
        matcher.left_ -= unitsPerStep;
        return matcher.left_ > 0;
    }

    static UBool U_CALLCONV afterAttempt(const void* context, std::int64_t /*index*/) {
        auto& matcher = self(context);
        if (++matcher.attempts_ % matcher.attemptsPerClockReading_ != 0) return true;
        const auto now = std::chrono::steady_clock::now();
        if (matcher.attempts_ != matcher.attemptsPerClockReading_) {
            matcher.left_ -= std::chrono::nanoseconds(now - matcher.lastReading_).count();
        }
        matcher.lastReading_ = now;
        return matcher.left_ > 0;
    }

    ExpressionPointer expression_;
    std::int64_t left_ = 0;
    std::uint32_t attempts_ = 0;
    std::uint32_t attemptsPerClockReading_ = 1;
    std::chrono::steady_clock::time_point lastReading_;
};

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
        return std::hash<std::string_view>()(text);
    }
};

bool ignoresCase(std::string_view pattern) noexcept {
    for (auto at = pattern.find("(?"); at != std::string_view::npos; at = pattern.find("(?", at)) {
        at += 2;
        const auto flags = pattern.substr(at, pattern.find_first_of(":)", at) - at);
        if (flags.find('i') != std::string_view::npos) return true;
    }
    return false;
}

/// Whether compiling would take longer than a host can wait. Compiling cannot be interrupted, takes
/// time that grows with the square of the length, and builds character sets at up to 5 ms each
/// where case is ignored and up to 0.1 ms elsewhere.
bool isTooCostlyToCompile(std::string_view pattern) noexcept {
    constexpr std::size_t longest = 65'536;
    constexpr std::size_t mostSets = 5'000;
    constexpr std::size_t mostSetsIgnoringCase = 100;
    if (pattern.size() > longest) return true;
    std::size_t sets = 0;
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '[') ++sets;
        if (pattern[i] == '\\' && i + 1 < pattern.size()) {
            ++i;
            if (std::string_view("pPN").find(pattern[i]) != std::string_view::npos) ++sets;
        }
    }
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
        : prototype_(std::move(prototype)), quick_(ASCIIPattern::compile(pattern)) {}
    ~Compiled() { delete spare_.load(); }

    Compiled(const Compiled&) = delete;
    Compiled& operator=(const Compiled&) = delete;

    /// The answer of the quick road; nothing when it cannot be taken.
    [[nodiscard]] std::optional<bool> matchQuickly(std::string_view text, std::size_t searchLength,
                                                   WorkAllowance* allowance) const {
        if (!quick_ || !ASCIIPattern::accepts(text)) return std::nullopt;
        const auto searched = text.substr(0, searchLength);
        const auto cost = unitsPerQuickByte * static_cast<std::int64_t>(searched.size() + 1);
        if (allowance != nullptr && !allowance->spend(cost)) return false;
        return quick_->matches(searched);
    }

    /// Runs `visit(matcher)` with a matcher at the start of the searched text, within the limits.
    template <typename Visit>
    void match(std::string_view text, std::size_t searchLength, WorkAllowance* allowance,
               const Visit& visit) const {
        const UTF16Text units(text, searchLength);
        if (units.size() > std::numeric_limits<std::int32_t>::max()) return;
        auto limit = unitsPerMatch;
        if (allowance != nullptr) {
            const auto cost = unitsPerCall + unitsPerByte * static_cast<std::int64_t>(text.size());
            if (!allowance->spend(cost)) return;
            limit = std::min(limit, allowance->remaining());
        }
        auto matcher = take();
        if (!matcher || !matcher->start(units, limit)) return;
        visit(*matcher);
        if (allowance != nullptr) allowance->spend(limit - matcher->unitsLeft());
        if (units.size() <= longestTextOfKeptMatcher) {
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
    mutable std::atomic<Matcher*> spare_{nullptr};
};

/// The process's compiled patterns, invalid ones (null) included. Two generations: a pattern that
/// is used moves to the young one; when that is full it becomes the old one, and what nobody has
/// used since is dropped.
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
        makeRoom();
        young_.insert(std::move(node));
        return entry;
    }

    void add(std::string_view pattern, const Entry& entry) {
        if (pattern.size() > longestPattern) return;
        const MutexLock lock(mutex_);
        makeRoom();
        young_.emplace(pattern, entry);
    }

  private:
    static constexpr std::size_t patternsPerGeneration = 512;
    static constexpr std::size_t longestPattern = 4096;
    using Generation = std::unordered_map<std::string, Entry, TextHash, std::equal_to<>>;

    void makeRoom() ZENTARA_REQUIRES(mutex_) {
        if (young_.size() < patternsPerGeneration) return;
        old_ = std::move(young_);
        young_.clear();
    }

    Mutex mutex_;
    Generation young_ ZENTARA_GUARDED_BY(mutex_);
    Generation old_ ZENTARA_GUARDED_BY(mutex_);
};

std::optional<RegularExpression> RegularExpression::compile(std::string_view pattern,
                                                            WorkAllowance* allowance) {
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
