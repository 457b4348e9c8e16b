#pragma once

#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/Schema.h"
#include "support/Status.h"

namespace zentara {

/// One message of a validation, as an error.
class ValidationError final : public Error {
  public:
    explicit ValidationError(std::string description) : description_(std::move(description)) {}

    [[nodiscard]] std::string description() const override { return description_; }

    friend bool operator==(const ValidationError& one, const ValidationError& other) {
        return one.description_ == other.description_;
    }
    friend std::ostream& operator<<(std::ostream& stream, const ValidationError& error) {
        return stream << error.description_;
    }

  private:
    std::string description_;
};

/// Whether an event's properties fit their schema, and if not, why: one error per message.
struct [[nodiscard]] SchemaValidation {
    bool isValid = true;
    std::optional<std::vector<ValidationError>> errors;  ///< absent exactly when valid
};

/// Checks an event's properties against the schema of the event.
class SchemaValidatorProtocol {
  public:
    virtual ~SchemaValidatorProtocol() = default;

    /// `properties` holds an object. May be called from any thread.
    virtual SchemaValidation validate(const JSONValue& properties, const Schema& schema) const = 0;

  protected:
    SchemaValidatorProtocol() = default;
    SchemaValidatorProtocol(const SchemaValidatorProtocol&) = default;
    SchemaValidatorProtocol& operator=(const SchemaValidatorProtocol&) = default;
};

/// Checks properties with `Schema::validate`.
class SchemaValidator final : public SchemaValidatorProtocol {
  public:
    SchemaValidation validate(const JSONValue& properties, const Schema& schema) const override {
        const auto messages = schema.validate(properties).errors();
        if (!messages) return {};
        return {false, std::vector<ValidationError>(messages->begin(), messages->end())};
    }
};

}  // namespace zentara
