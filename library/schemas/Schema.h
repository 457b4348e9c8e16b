#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/Format.h"
#include "support/Mutex.h"

namespace zentara {

/// The primitive types of JSON Schema.
enum class Type : std::uint8_t { Object, Array, String, Integer, Number, Boolean, Null };

/// The names of the types in a schema, in their order.
inline constexpr std::array<std::string_view, 7> typeNames = {
    "object", "array", "string", "integer", "number", "boolean", "null"};

/// The type of that name, letter by letter; nothing for any other text.
[[nodiscard]] std::optional<Type> typeNamed(std::string_view name) noexcept;

/// The outcome of a validation: valid, or invalid with its messages in the order of their creation.
/// An invalid value may have no message.
class [[nodiscard]] ValidationResult {
  public:
    /// Valid.
    ValidationResult() = default;

    [[nodiscard]] static ValidationResult invalid(std::vector<std::string> messages) {
        ValidationResult result;
        result.errors_ = std::move(messages);
        return result;
    }

    [[nodiscard]] bool valid() const noexcept { return !errors_; }

    /// The messages; nothing when valid.
    [[nodiscard]] const std::optional<std::vector<std::string>>& errors() const& noexcept {
        return errors_;
    }
    [[nodiscard]] std::optional<std::vector<std::string>> errors() && noexcept {
        return std::move(errors_);
    }

    friend bool operator==(const ValidationResult&, const ValidationResult&) = default;

  private:
    std::optional<std::vector<std::string>> errors_;
};

/// For each message the part of the value that it refers to: the value that a subschema refused, or
/// the element or member that is not permitted.
using MessagePlaces = std::vector<const JSONValue*>;

class SchemaNodes;
class SharedExpressions;

/// A JSON Schema document (the dialect of draft 4), compiled at its first use. The compiled form,
/// of a few bytes per keyword, replaces the document. Safe for use from any thread; validating
/// takes no lock once the schema is compiled.
class Schema {
  public:
    /// `formats` must outlive the schema. `expressions` are those of its table, if it has one.
    explicit Schema(JSONObject document, std::span<const Format> formats = standardFormats(),
                    std::shared_ptr<SharedExpressions> expressions = nullptr);
    ~Schema();
    Schema(const Schema&) = delete;
    Schema& operator=(const Schema&) = delete;

    /// Like `zentara::validate`, with this document as the root.
    [[nodiscard]] ValidationResult validate(const JSONValue& data,
                                            MessagePlaces* places = nullptr) const;

    // The results live as long as the schema.
    /// The document's "title" and "description" when they are texts.
    [[nodiscard]] std::optional<std::string_view> title() const;
    [[nodiscard]] std::optional<std::string_view> description() const;
    /// The known types among the declared ones, in their order. For information only.
    [[nodiscard]] std::span<const Type> type() const;
    [[nodiscard]] std::span<const Format> formats() const noexcept { return formats_; }

  private:
    [[nodiscard]] const SchemaNodes& nodes() const;

    const std::span<const Format> formats_;
    const std::shared_ptr<SharedExpressions> expressions_;
    mutable std::atomic<const SchemaNodes*> nodes_{nullptr};  // null until the first use
    mutable Mutex compiling_;
    mutable JSONObject document_ ZENTARA_GUARDED_BY(compiling_);  // empty after the first use
};

/// Checks `value` against the JSON Schema document `schema`, the root of its own references, and
/// returns every violation as a message for people, in the order of the keywords. May be called
/// from any thread. Compiles the document for this call; use a `Schema` for several calls.
///
/// A fault of the document (an unknown type or format, a bad pattern, a reference without a target)
/// is a message too, at the values that reach it. The only exception is the format "numericString":
/// it ends the process when it is applied to a value that is not a string.
///
/// Compiling takes time linear to the document. A validation does at most about half a second of
/// work; its messages take at most about 60 MB; subschemas nest at most 2560 deep (five for each of
/// 512 levels of data), or until the thread's stack has 128 KB left. Beyond that, and at a
/// reference that leads back to itself on the same value, the value is invalid and the last message
/// gives the reason.
///
///     const auto result = validate(event, schema);
///     if (!result.valid()) report(*result.errors());
ValidationResult validate(const JSONValue& value, const JSONObject& schema);

}  // namespace zentara
