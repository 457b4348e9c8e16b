#include "identity/Token.h"

#include <memory>
#include <utility>

namespace zentara {

std::string Token::DecodingError::description() const {
    return "the dictionary does not hold a token";
}

JSONObject Token::toDictionary() const {
    return {{"type", type}, {"value", value}, {"publicValue", publicValue}};
}

Result<Token> Token::fromDictionary(const JSONObject& dictionary) {
    RecordReader reader(dictionary);
    Token token;
    token.type = reader.string("type");
    token.value = reader.string("value");
    token.publicValue = reader.string("publicValue");
    if (reader.failed()) return std::make_shared<DecodingError>();
    return token;
}

}  // namespace zentara
