#include "collector/http/HttpMessage.h"

#include <strings.h>

namespace zentara::collector {

std::string HttpRequest::header(std::string_view name, std::string_view separator) const {
    std::string joined;
    bool found = false;
    for (const auto& [key, value] : headers) {
        if (key.size() != name.size() || strncasecmp(key.data(), name.data(), name.size()) != 0) {
            continue;
        }
        if (found) joined += separator;
        joined += value;
        found = true;
    }
    return joined;
}

}  // namespace zentara::collector
