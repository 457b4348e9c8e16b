#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/KeywordValues.h"
#include "schemas/References.h"
#include "schemas/Schema.h"
#include "schemas/values/PatternText.h"

namespace zentara::schemas {

/// The subschemas that a value must satisfy, all of them.
using JointSchemas = std::vector<const JSONObject*>;

/// What a schema says about its parts, for drawing values. The engine confirms the values, so this
/// need not be exact.
class SchemaIndex {
  public:
    struct Verdict {
        bool isValid = false;
        bool isStopped = false;  ///< the engine gave up, or the process would have ended
        std::vector<std::string> messages;
        MessagePlaces places;  ///< in the value
    };
    struct Bounds {
        std::int64_t least = 0, most = INT64_MAX;
    };

    /// The document must outlive the index.
    explicit SchemaIndex(const JSONObject& document);

    [[nodiscard]] Verdict validate(const JSONValue& value) const;

    /// The target of "$ref"; null when there is none.
    [[nodiscard]] const JSONObject* target(const JSONObject& schema) const;

    /// The value of a keyword if the engine looks at it.
    [[nodiscard]] const JSONObject* objects(const JSONObject& schema, std::string_view key) const;
    [[nodiscard]] const JSONArray* list(const JSONObject& schema, std::string_view key,
                                        JSONValue::Kind kind) const;
    /// Of lengths and sizes.
    [[nodiscard]] static Bounds bounds(const JointSchemas& all, std::string_view least,
                                       std::string_view most);

    /// The demands on a member of an object; nothing when the name is not permitted.
    [[nodiscard]] std::optional<JointSchemas> member(const JointSchemas& all,
                                                     std::string_view name) const;
    /// The demands on an element of an array; nothing when there can be no such element.
    [[nodiscard]] std::optional<JointSchemas> element(const JointSchemas& all,
                                                      std::size_t position) const;

    [[nodiscard]] const PatternText& pattern(std::string_view text) const;

    [[nodiscard]] const JSONObject& document() const noexcept { return document_; }

  private:
    const JSONObject& document_;
    Schema schema_;
    mutable std::map<std::string, PatternText, std::less<>> patterns_;
    mutable References references_;
    mutable std::unordered_map<const JSONObject*, const JSONObject*> targets_;
    /// Whether the members of a value are of the kind that its keyword takes.
    mutable std::unordered_map<const JSONValue*, bool> areOfKind_;
};

}  // namespace zentara::schemas
