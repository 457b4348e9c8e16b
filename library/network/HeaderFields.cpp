#include "network/HeaderFields.h"

#include <algorithm>

namespace zentara {

HeaderFields::HeaderFields(std::initializer_list<Field> fields) {
    for (const auto& [name, value] : fields)
        (*this)[name] = value;
}

std::string& HeaderFields::operator[](std::string_view name) {
    const auto found = std::find_if(fields_.begin(), fields_.end(),
                                    [&](const Field& field) { return field.first == name; });
    if (found != fields_.end()) return found->second;
    return fields_.emplace_back(std::string(name), std::string()).second;
}

const std::string* HeaderFields::find(std::string_view name) const noexcept {
    const auto found = std::find_if(fields_.begin(), fields_.end(),
                                    [&](const Field& field) { return field.first == name; });
    return found == fields_.end() ? nullptr : &found->second;
}

}  // namespace zentara
