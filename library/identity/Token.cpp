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
    Token token;
    if (readMember(dictionary, "type", token.type) &&
        readMember(dictionary, "value", token.value) &&
        readMember(dictionary, "publicValue", token.publicValue)) {
        return token;
    }
    return std::make_shared<DecodingError>();
}

}  // namespace zentara
