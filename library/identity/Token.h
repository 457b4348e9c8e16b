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
        RecordReader reader(dictionary);
        Token token{reader.string("type"), reader.string("value"), reader.string("publicValue")};
        if (reader.failed()) return std::make_shared<DecodingError>();
        return token;
    }

    friend bool operator==(const Token&, const Token&) = default;
};

}  // namespace zentara
