#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

#include "json/JSONValue.h"
#include "schemas/References.h"

namespace zentara::schemas::diff {

/// A schema document and where its references lead.
class Document {
  public:
    /// The document must outlive this object.
    explicit Document(const JSONObject& root) : root_(root), references_(root) {}

    [[nodiscard]] const JSONObject& root() const noexcept { return root_; }

    /// The subschema that a reference leads to. Null if the engine refuses every value there.
    [[nodiscard]] const JSONObject* target(std::string_view reference) const {
        return references_.follow(reference).schema;
    }

    /// Whether applying the schema may end the validation as a whole, even inside "anyOf" and
    /// "not": by the format "numericString" or a reference that leads back to itself.
    [[nodiscard]] bool mayEndValidation(const JSONObject& schema) const;

  private:
    const JSONObject& root_;
    [[nodiscard]] bool mayEnd(const JSONObject& schema) const;

    mutable References references_;
    mutable std::unordered_map<const JSONObject*, bool> mayEnd_;
    mutable std::size_t visited_ = 0;
};

/// Makes the schemas of a document usable in another, which holds the document under a key.
class Transplant {
  public:
    /// A copy whose references lead to the document under `key`.
    Transplant(const JSONObject& document, std::string_view key)
        : document_(document), prefix_("#/" + std::string(key)) {}

    [[nodiscard]] JSONObject copy(const JSONObject& schema);
    /// Copies one keyword.
    void add(JSONObject& schema, std::string_view keyword, const JSONValue& value);
    /// Adds the document where the copies since the last call refer to it.
    void attachTo(JSONObject& schema);

    /// The values that were copied so far.
    [[nodiscard]] std::size_t cost() const noexcept { return cost_; }

  private:
    [[nodiscard]] JSONValue copy(const JSONValue& value);

    const JSONObject& document_;
    const std::string prefix_;
    bool isReferredTo_ = false;
    std::size_t cost_ = 0;
};

}  // namespace zentara::schemas::diff
