#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/diff/Comparison.h"
#include "schemas/diff/Decision.h"
#include "schemas/diff/Document.h"
#include "schemas/diff/Inclusion.h"
#include "schemas/values/Sampler.h"

namespace zentara::schemas::diff {

/// Walks through two documents in parallel and lists their differences, each decided by itself.
class Walk {
  public:
    /// A way into a value: through a member, or the first element behind some others.
    struct Step {
        std::optional<std::string> member;
        std::size_t element = 0;
    };
    /// Values for a place inside that only one of the documents accepts there.
    struct Witness {
        std::vector<Step> path;
        std::string member;  ///< that the difference is about; may be empty
        std::optional<JSONValue> onlyOld, onlyNew;
    };

    /// The documents must outlive this object.
    Walk(const JSONObject& before, const JSONObject& after, Sampler::Values values,
         std::chrono::steady_clock::time_point deadline);

    void run();

    [[nodiscard]] std::vector<Difference>& differences() noexcept { return differences_; }
    [[nodiscard]] const std::vector<Witness>& witnesses() const noexcept { return witnesses_; }

  private:
    /// A schema and what its "$ref" leads to, whose keywords apply together.
    struct Part {
        const JSONObject* schema;
        std::string pointer;
    };
    struct Place {
        std::vector<Part> parts;
        bool isResolved = false;  ///< "$ref" is replaced by the parts

        [[nodiscard]] const JSONValue* find(std::string_view keyword) const;
        [[nodiscard]] std::string pointer(std::string_view keyword) const;
    };
    using Keywords = std::initializer_list<std::string_view>;

    [[nodiscard]] static Place placeOf(const Document& document, const JSONObject& schema,
                                       std::string pointer);
    void visit(const Place& before, const Place& after, const std::string& property);
    void visitParts(const Place& before, const Place& after, const std::string& property);
    void visitMembers(const Place& before, const Place& after, const std::string& property);
    void visitMember(const Place& before, const Place& after, const std::string& property,
                     std::string_view name);
    void visitItems(const Place& before, const Place& after, const std::string& property);
    void visitInner(const JSONValue& before, const JSONValue& after, const Place& oldPlace,
                    const Place& newPlace, Keywords components, const std::string& property,
                    Step step);
    void compareAnnotations(const Place& before, const Place& after, const std::string& property);
    void compareValues(const Place& before, const Place& after, const std::string& property);
    /// Whether the keywords differ; then adds the difference with that reason.
    bool compareKeywords(const Place& before, const Place& after, const std::string& property,
                         Keywords keywords, const std::function<std::string()>& reason);

    /// The old place, with some keywords left out or taken from another.
    [[nodiscard]] JSONObject patched(const Place& place, Keywords without = {},
                                     const Place* other = nullptr);
    [[nodiscard]] JSONObject patchedNew(const Place& place);
    /// As much of a place as matters for one member.
    [[nodiscard]] JSONObject reduced(const Place& openness, const JSONValue* member, bool isNew,
                                     bool isRequired, std::string_view name);

    void add(std::string pointer, const std::string& property, std::string reason,
             const JSONObject& before, const JSONObject& after, std::string_view member = {});
    [[nodiscard]] bool isFull();
    /// Whether a difference is decided, or only listed because there are too many.
    [[nodiscard]] bool mayDecide() const;

    const Document before_, after_;
    Transplant fromBefore_, fromAfter_;
    Inclusion same_;
    const Sampler::Values values_;
    const std::chrono::steady_clock::time_point deadline_;
    std::vector<Step> path_;
    std::vector<std::pair<const JSONObject*, const JSONObject*>> open_;  ///< the places around
    std::size_t visits_ = 0;
    bool isCut_ = false;
    std::vector<Difference> differences_;
    std::vector<Witness> witnesses_;
};

}  // namespace zentara::schemas::diff
