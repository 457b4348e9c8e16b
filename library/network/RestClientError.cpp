#include "network/RestClientError.h"

namespace zentara {

std::string RestClientError::description() const {
    switch (kind_) {
        case Case::unexpectedStatusCode:
            return "unexpected HTTP status " + std::to_string(statusCode_);
        case Case::invalidJSONFormat:
            return "the body is not a JSON object";
        case Case::unexpectedBodyFormat:
            return "the response has no body";
        case Case::unexpectedResponseFormat:
            return "the answer is not an HTTP response";
    }
    return {};
}

}  // namespace zentara
