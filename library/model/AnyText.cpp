#include "model/AnyText.h"

#include "model/UTF8Repair.h"

namespace zentara {

std::string AnyText::repaired(std::string text) {
    return withValidUTF8(std::move(text));
}

}  // namespace zentara
