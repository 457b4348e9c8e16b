#pragma once

#include <ostream>
#include <string>
#include <utility>

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

}  // namespace zentara
