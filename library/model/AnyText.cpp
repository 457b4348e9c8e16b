#include "model/AnyText.h"

#include "json/JSONText.h"
#include "text/Unicode.h"

namespace zentara {

std::string AnyText::repaired(std::string text) {
    return withValidUTF8(std::move(text));
}

std::string AnyText::printed(double number) {
    std::string text;
    appendDouble(text, number);
    return text;
}

}  // namespace zentara
