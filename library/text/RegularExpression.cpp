#include "text/RegularExpression.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>

#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "text/ICUExpression.h"
#include "text/PatternCost.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

constexpr std::int64_t unitsPerLookUp = 150;
constexpr std::int64_t unitsPerSimplePatternByte = 100;

/// The expressions that ICU has compiled for this process, null for patterns that are not valid. A
/// pattern that is used moves to the young generation. When that is full, of patterns or of memory,
/// it becomes the old generation, and what has stayed in the old generation is dropped.
class ICUCache {
  public:
    using Entry = std::shared_ptr<const ICUExpression>;

    static ICUCache& shared() {
        static NoDestructor<ICUCache> cache;
        return *cache;
    }

    /// The expression for `pattern`, compiled if it is not cached.
    [[nodiscard]] Entry get(std::string_view pattern, WorkAllowance* allowance) {
        if (allowance != nullptr) {
            allowance->spend(unitsPerLookUp + static_cast<std::int64_t>(pattern.size()));
        }
        if (auto found = find(pattern)) return *std::move(found);
        Entry compiled = ICUExpression::compile(pattern, allowance);
        if (pattern.size() <= PatternCost::longestPattern) add(pattern, compiled);
        return compiled;
    }

  private:
    static constexpr std::size_t patternsPerGeneration = 512;
    static constexpr std::size_t bytesPerGeneration = 16 * 1024 * 1024;

    struct TextHash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept {
            return std::hash<std::string_view>()(text);
        }
    };
    using Generation = std::unordered_map<std::string, Entry, TextHash, std::equal_to<>>;

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
        const MutexLock lock(mutex_);
        makeRoom(sizeOf(pattern, entry));
        young_.emplace(pattern, entry);
    }

    static std::size_t sizeOf(std::string_view pattern, const Entry& entry) {
        constexpr std::size_t bytesPerNode = 128;
        return bytesPerNode + pattern.size() + (entry == nullptr ? 0 : entry->size());
    }

    /// Makes room for another pattern of that size in the young generation.
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

/// Stands for an expression that is not a simple one.
constinit const ASCIIPattern notSimple;

/// How many automata there are. Beyond the limit, which is about 32 MB, ICU matches alone.
std::atomic<int> automata{0};
constexpr int mostAutomata = 8192;

}  // namespace

RegularExpression::~RegularExpression() {
    const auto* const simple = simple_.load();
    if (simple == nullptr || simple == &notSimple) return;
    delete simple;
    --automata;
}

bool RegularExpression::isValid(WorkAllowance* allowance) const {
    return simple(allowance) != &notSimple ||
           ICUCache::shared().get(pattern_, allowance) != nullptr;
}

bool RegularExpression::matches(std::string_view text, WorkAllowance* allowance) const {
    const auto* const pattern = simple(allowance);
    if (pattern != &notSimple && isPlainASCII(text)) {
        const auto cost = pattern->costPerByte() * static_cast<std::int64_t>(text.size() + 1);
        if (allowance != nullptr && !allowance->spend(cost)) return false;
        return pattern->matches(text);
    }
    const auto expression = ICUCache::shared().get(pattern_, allowance);
    return expression != nullptr &&
           expression->matches(text, characterCount(text, allowance), allowance);
}

const ASCIIPattern* RegularExpression::compileSimple(WorkAllowance* allowance) const {
    if (allowance != nullptr) {
        allowance->spend(unitsPerSimplePatternByte * static_cast<std::int64_t>(pattern_.size()));
    }
    auto compiled = automata < mostAutomata ? ASCIIPattern::compile(pattern_) : nullptr;
    const auto* const made = compiled ? compiled.get() : &notSimple;
    const ASCIIPattern* found = nullptr;
    // Another thread may have been faster: its automaton is used.
    if (!simple_.compare_exchange_strong(found, made, std::memory_order_acq_rel)) return found;
    if (compiled.release() != nullptr) ++automata;
    return made;
}

}  // namespace zentara
