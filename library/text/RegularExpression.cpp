#include "text/RegularExpression.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "support/Mutex.h"
#include "support/NoDestructor.h"
#include "text/ICUExpression.h"
#include "text/PatternCost.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

constexpr std::int64_t unitsPerLookUp = 150;
constexpr std::int64_t unitsPerSimplePatternByte = 100;

/// The expressions that ICU has compiled for this process, null for patterns that are not valid.
/// Emptied when it is full, of patterns or of memory.
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
        {
            const MutexLock lock(mutex_);
            const auto found = entries_.find(pattern);
            if (found != entries_.end()) return found->second;
        }
        Entry compiled = ICUExpression::compile(pattern, allowance);
        if (pattern.size() <= PatternCost::longestPattern) add(pattern, compiled);
        return compiled;
    }

  private:
    static constexpr std::size_t mostPatterns = 1024;
    static constexpr std::size_t mostBytes = 32 * 1024 * 1024;

    void add(std::string_view pattern, const Entry& entry) {
        constexpr std::size_t bytesPerNode = 128;
        const auto size = bytesPerNode + pattern.size() + (entry == nullptr ? 0 : entry->size());
        const MutexLock lock(mutex_);
        if (entries_.size() == mostPatterns || size_ + size > mostBytes) {
            entries_.clear();
            size_ = 0;
        }
        if (entries_.emplace(pattern, entry).second) size_ += size;
    }

    Mutex mutex_;
    std::map<std::string, Entry, std::less<>> entries_ ZENTARA_GUARDED_BY(mutex_);
    std::size_t size_ ZENTARA_GUARDED_BY(mutex_) = 0;  ///< in bytes, estimated
};

/// Marks an expression that is not simple.
constinit const ASCIIPattern notSimple;

/// The number of automata. Beyond the limit, about 32 MB, only ICU matches.
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
    const auto* const automaton = compiled ? compiled.get() : &notSimple;
    const ASCIIPattern* found = nullptr;
    // If another thread was faster, its automaton is used.
    if (!simple_.compare_exchange_strong(found, automaton, std::memory_order_acq_rel)) return found;
    if (compiled.release() != nullptr) ++automata;
    return automaton;
}

}  // namespace zentara
