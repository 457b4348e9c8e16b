#include "model/AnyText.h"

#include "platform/Unicode.h"

namespace zentara {

std::string AnyText::repaired(std::string text) {
    return isValidUTF8(text) ? std::move(text) : repairedUTF8(text);
}

}  // namespace zentara
