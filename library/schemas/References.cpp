#include "schemas/References.h"

#include <charconv>
#include <cstdint>

#include "schemas/KeywordValues.h"
#include "support/ASCII.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

/// Removes the next component of a path; resets the path after the last component.
std::string_view takeComponent(std::optional<std::string_view>& path) {
    const auto component = path->substr(0, path->find('/'));
    if (component.size() == path->size()) {
        path.reset();
    } else {
        path->remove_prefix(component.size() + 1);
    }
    return component;
}

}  // namespace

References::Target References::follow(std::string_view reference, std::vector<std::string>* path) {
    if (reference == "#") return {&document_, {}, false};
    const auto text =
        reference.starts_with("#/") ? percentDecoded(reference.substr(2)) : std::nullopt;
    if (!text || !isValidUTF8(*text)) {
        return {nullptr, "Remote $ref '" + std::string(reference) + "' is not yet supported", true};
    }
    const auto enter = [path](std::string_view component) {
        if (path != nullptr) path->emplace_back(component);
    };
    const auto* current = &document_;
    std::optional<std::string_view> rest = *text;
    while (rest) {
        const auto component = takeComponent(rest);
        const auto* const value = current->find(component);
        enter(component);
        current = value == nullptr ? nullptr : value->ifObject();
        if (value != nullptr && value->isArray() && rest) {
            if (const auto position = positionIn(*value, takeComponent(rest))) {
                enter(std::to_string(*position));
                current = (*value->ifArray())[*position].ifObject();
            }
        }
        if (current == nullptr) {
            return {nullptr,
                    "Reference not found '" + std::string(component) + "' in '" + *text + "'",
                    false};
        }
    }
    return {current, {}, false};
}

/// The position in a list of objects that `component` names, if any.
std::optional<std::size_t> References::positionIn(const JSONValue& list,
                                                  std::string_view component) {
    // std::from_chars does not read a plus.
    if (component.starts_with('+') && !component.starts_with("+-")) component.remove_prefix(1);
    std::int64_t index = 0;
    const auto* const last = component.data() + component.size();
    const auto [end, error] = std::from_chars(component.data(), last, index);
    if (error != std::errc() || end != last || index < 0) return std::nullopt;
    const auto position = static_cast<std::size_t>(index);
    if (position >= list.ifArray()->size()) return std::nullopt;
    const auto [known, isNew] = holdsObjectsOnly_.try_emplace(&list, false);
    if (isNew) known->second = schemasOf(&list) != nullptr;
    return known->second ? std::optional(position) : std::nullopt;
}

}  // namespace zentara
