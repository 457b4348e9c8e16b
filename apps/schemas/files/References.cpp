#include "schemas/files/References.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <system_error>

#include "schemas/files/SourceMap.h"
#include "support/ASCII.h"

namespace zentara::schemas {

namespace {

const JSONValue* elementNamed(std::string_view component, const JSONArray& list) {
    // std::from_chars does not read a plus.
    if (component.starts_with('+') && !component.starts_with("+-")) component.remove_prefix(1);
    std::int64_t index = 0;
    const auto* const last = component.data() + component.size();
    const auto [end, error] = std::from_chars(component.data(), last, index);
    if (error != std::errc() || end != last || index < 0) return nullptr;
    const auto position = static_cast<std::size_t>(index);
    return position < list.size() ? &list[position] : nullptr;
}

}  // namespace

std::optional<ReferenceTarget> referenceTarget(const JSONObject& document,
                                               std::string_view reference) {
    ReferenceTarget target{&document, "", ""};
    if (reference == "#") return target;
    const auto path =
        reference.starts_with("#/") ? percentDecoded(reference.substr(2)) : std::nullopt;
    if (!path) return std::nullopt;
    const JSONValue* list = nullptr;  ///< whose element comes next
    for (std::size_t first = 0; first <= path->size();) {
        const auto end = std::min(path->find('/', first), path->size());
        const auto component = std::string_view(*path).substr(first, end - first);
        const auto* const value = list == nullptr ? target.schema->find(component)
                                                  : elementNamed(component, *list->ifArray());
        if (value == nullptr) return std::nullopt;
        list = list == nullptr && value->isArray() ? value : nullptr;
        if (list == nullptr && !value->isObject()) return std::nullopt;
        if (list == nullptr) target.schema = value->ifObject();
        if (mayExtend(target.pointer, component))
            target.pointer = childPointer(target.pointer, component);
        target.name = component;
        first = end + 1;
    }
    if (list != nullptr) return std::nullopt;
    return target;
}

}  // namespace zentara::schemas
