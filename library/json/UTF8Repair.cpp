#include "json/UTF8Repair.h"

#include <algorithm>
#include <utility>

#include "json/JSONText.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

void repair(JSONObject& object, std::size_t depth);

// NOLINTNEXTLINE(misc-no-recursion)
void repair(JSONValue& value, std::size_t depth) {
    if (const auto string = value.ifString()) {
        if (!isValidUTF8(*string)) value = repairedUTF8(*string);
    } else if (depth == 0) {
        return;
    } else if (auto* const array = value.ifArray()) {
        for (auto& element : *array)
            repair(element, depth - 1);
    } else if (auto* const object = value.ifObject()) {
        repair(*object, depth - 1);
    }
}

// NOLINTNEXTLINE(misc-no-recursion)
void repair(JSONObject& object, std::size_t depth) {
    for (auto& [key, value] : object)
        repair(value, depth);
    if (std::all_of(object.begin(), object.end(),
                    [](const auto& member) { return isValidUTF8(member.key()); })) {
        return;
    }
    JSONObject repaired;
    repaired.reserve(object.size());
    for (auto& [key, value] : object)
        repaired.set(withValidUTF8(std::string(key)), std::move(value));
    object = std::move(repaired);
}

}  // namespace

std::string withValidUTF8(std::string text) {
    return isValidUTF8(text) ? std::move(text) : repairedUTF8(text);
}

JSONObject withValidUTF8(JSONObject object) {
    repair(object, maximumJSONDepth);
    return object;
}

}  // namespace zentara
