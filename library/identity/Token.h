#pragma once

#include <memory>
#include <string>

#include "model/JSONCodable.h"

namespace zentara {

/// An identity token that the collector issued. A copyable record.
struct Token {
    struct DecodingError final : Error {
        [[nodiscard]] std::string description() const override {
            return "the dictionary does not hold a token";
        }
    };

    std::string type;
    std::string value;
    std::string publicValue;

    [[nodiscard]] JSONObject toDictionary() const {
        return {{"type", type}, {"value", value}, {"publicValue", publicValue}};
    }

    [[nodiscard]] static Result<Token> fromDictionary(const JSONObject& dictionary) {
        Token token;
        if (readMember(dictionary, "type", token.type) &&
            readMember(dictionary, "value", token.value) &&
            readMember(dictionary, "publicValue", token.publicValue)) {
            return token;
        }
        return std::make_shared<DecodingError>();
    }

    friend bool operator==(const Token&, const Token&) = default;
};

}  // namespace zentara
