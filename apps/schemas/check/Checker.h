#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "schemas/KeywordValues.h"
#include "schemas/check/FindingList.h"
#include "schemas/check/PatternExaminer.h"
#include "schemas/check/SchemaGraph.h"
#include "schemas/check/Summary.h"
#include "schemas/check/Vocabulary.h"

namespace zentara::schemas {

/// Checks a document. Used once.
class Checker {
  public:
    Checker(const JSONObject& document, FindingList& findings)
        : document_(document),
          findings_(findings),
          graph_(document),
          summaries_(graph_.nodes().size()) {}
    Checker(const Checker&) = delete;
    Checker& operator=(const Checker&) = delete;

    void run();

  private:
    using Kinds = std::uint16_t;
    using Position = SchemaGraph::Position;

    // The subschema that is being checked.
    void checkNode(Position node);
    void checkKeys();
    void checkType();
    void checkFormat();
    void checkReference();
    void checkChoices();
    void checkEnum();
    void checkTexts();
    void checkNumbers();
    void checkIntegers(double lowest, double highest);
    void checkArrays();
    void checkObjects();
    void checkRequired();
    void checkPattern(std::string pointer, std::string_view pattern, Kinds refused);
    void checkResult();

    /// The engine refuses values of these kinds.
    void refuse(Kinds kinds) noexcept { own_.fails = static_cast<Kinds>(own_.fails | kinds); }
    /// The engine may refuse values of these kinds.
    void mayRefuse(Kinds kinds) noexcept { own_.passes = static_cast<Kinds>(own_.passes & ~kinds); }
    /// A fault for which the engine refuses values of these kinds.
    void addFault(RuleName rule, std::string pointer, Kinds kinds, std::string reason,
                  std::string advice);
    void checkPair(std::string_view low, std::string_view high, Kinds kinds, std::string_view what);

    [[nodiscard]] const JSONValue* find(std::string_view keyword) const {
        return schema_->find(keyword);
    }
    [[nodiscard]] std::optional<std::int64_t> integer(std::string_view keyword) const {
        return integerOf(find(keyword));
    }
    [[nodiscard]] std::optional<double> number(std::string_view keyword) const {
        return numberOf(find(keyword));
    }
    [[nodiscard]] bool isTrue(std::string_view keyword) const {
        return zentara::isTrue(find(keyword));
    }
    [[nodiscard]] bool isFalse(std::string_view keyword) const {
        return additionalOf(find(keyword)).isForbidden;
    }
    /// Whether values of one of these kinds can be valid.
    [[nodiscard]] bool accepts(Kinds kinds) const noexcept { return (accepted_ & kinds) != 0; }
    [[nodiscard]] std::string pointer() const { return graph_.pointer(node_); }
    [[nodiscard]] std::string pointer(std::string_view keyword) const;
    [[nodiscard]] std::string pointer(std::string_view keyword, std::string_view component) const;

    const JSONObject& document_;
    FindingList& findings_;
    const SchemaGraph graph_;
    PatternExaminer patterns_;
    bool hasUnexamined_ = false;
    std::size_t unknownKeys_ = 0;
    std::vector<Summary> summaries_;

    Position node_ = 0;
    const JSONObject* schema_ = nullptr;
    Summary own_;
    Kinds accepted_ = 0;  ///< by "type", as far as it is known
};

}  // namespace zentara::schemas
