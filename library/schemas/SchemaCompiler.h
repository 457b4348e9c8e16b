#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "schemas/References.h"
#include "schemas/SchemaNodes.h"

namespace zentara {

/// Compiles one document, in time and memory linear to it. Used once; the result does not refer to
/// the document. Visits each subschema once, in the order of discovery, without recursion.
class SchemaCompiler {
  public:
    SchemaCompiler(const JSONObject& document, std::span<const Format> formats,
                   std::shared_ptr<SharedExpressions> expressions);
    SchemaCompiler(const SchemaCompiler&) = delete;
    SchemaCompiler& operator=(const SchemaCompiler&) = delete;

    [[nodiscard]] std::unique_ptr<const SchemaNodes> compile() { return compile(document_); }
    /// Only a subschema of the document, and what it leads to.
    [[nodiscard]] std::unique_ptr<const SchemaNodes> compile(const JSONObject& subschema);

  private:
    friend struct KeywordTable;

    using Check = SchemaNodes::Check;
    using Position = SchemaNodes::Position;

    // Compile the value of a keyword into checks; none when the value is of the wrong kind.
    void format(const JSONValue& name);
    void reference(const JSONValue& reference);
    void type(const JSONValue& type);
    void schemas(const JSONValue& list);
    void negation(const JSONValue& schema);
    void enumeration(const JSONValue& list);
    void pattern(const JSONValue& pattern);
    void multipleOf(const JSONValue& divisor);
    void range(const JSONValue& bound);
    void size(const JSONValue& bound);
    void uniqueItems(const JSONValue& isWanted);
    void items(const JSONValue& schemas);
    void required(const JSONValue& names);
    void properties(const JSONValue& schemas);
    void dependencies(const JSONValue& entries);

    void compileNode(Position node);
    void addTypes(const JSONValue* declared);
    Check& add();
    void addFailure(std::string_view message);
    void addNamedProperties(const JSONObject& schemas, SchemaNodes::Members& members);

    void takeRequired(SchemaNodes::Members& members);

    Position nodeOf(const JSONObject& schema);
    Position nodeOfAdditional(Keyword keyword);
    Position valueOf(const JSONValue& value);
    SchemaNodes::Name nameOf(std::string_view text);
    /// The value under a keyword of the current schema; null when it is absent.
    [[nodiscard]] const JSONValue* find(Keyword keyword) const {
        return found_[static_cast<std::size_t>(keyword)];
    }

    const JSONObject& document_;
    const std::span<const Format> formats_;
    std::unique_ptr<SchemaNodes> result_ = std::make_unique<SchemaNodes>();

    std::vector<const JSONObject*> schemas_;  ///< of each node
    /// The node of each schema. Empty before the first reference: until then the subschemas form a
    /// tree.
    std::unordered_map<const JSONObject*, Position> nodes_;
    References references_;
    bool hasReferences_ = false;

    std::size_t firstCheck_ = 0;        ///< of the schema that is being compiled
    Keyword keyword_ = Keyword::count;  ///< that is being compiled
    std::array<const JSONValue*, static_cast<std::size_t>(Keyword::count)> found_{};
};

}  // namespace zentara
