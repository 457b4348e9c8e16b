#pragma once

#include <string>

#include "model/JSONCodable.h"

namespace zentara {

/// An identity token that the collector issued. A copyable record.
struct Token {
    struct DecodingError final : Error {
        [[nodiscard]] std::string description() const override;
    };

    std::string type;
    std::string value;
    std::string publicValue;

    [[nodiscard]] JSONObject toDictionary() const;
    [[nodiscard]] static Result<Token> fromDictionary(const JSONObject& dictionary);

    friend bool operator==(const Token&, const Token&) = default;
};

}  // namespace zentara
