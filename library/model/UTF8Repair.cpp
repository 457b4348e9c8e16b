#include "model/UTF8Repair.h"

#include <algorithm>
#include <utility>

#include "model/JSONText.h"
#include "platform/Unicode.h"

namespace zentara {

namespace {

// Both walks are bounded by their depth: what lies deeper than a document may be is refused later.

// NOLINTNEXTLINE(misc-no-recursion)
bool isValid(const JSONValue& value, std::size_t depth) {
    if (depth == 0) return true;
    if (const auto* string = value.if_string()) return isValidUTF8(*string);
    if (const auto* array = value.if_array()) {
        return std::all_of(array->begin(), array->end(),
                           [depth](const auto& element) { return isValid(element, depth - 1); });
    }
    if (const auto* object = value.if_object()) {
        return std::all_of(object->begin(), object->end(), [depth](const auto& member) {
            return isValidUTF8(member.key()) && isValid(member.value(), depth - 1);
        });
    }
    return true;
}

JSONObject repaired(JSONObject object, std::size_t depth);

// NOLINTNEXTLINE(misc-no-recursion)
void repair(JSONValue& value, std::size_t depth) {
    if (isValid(value, depth)) return;
    if (auto* string = value.if_string()) {
        *string = repairedUTF8(*string);
    } else if (auto* array = value.if_array()) {
        for (auto& element : *array)
            repair(element, depth - 1);
    } else {
        value = repaired(std::move(value.get_object()), depth);
    }
}

// NOLINTNEXTLINE(misc-no-recursion)
JSONObject repaired(JSONObject object, std::size_t depth) {
    JSONObject result;
    result.reserve(object.size());
    for (auto& member : object) {
        repair(member.value(), depth - 1);
        result[repairedUTF8(member.key())] = std::move(member.value());
    }
    return result;
}

}  // namespace

std::string withValidUTF8(std::string text) {
    return isValidUTF8(text) ? std::move(text) : repairedUTF8(text);
}

JSONObject withValidUTF8(JSONObject object) {
    const bool isSound = std::all_of(object.begin(), object.end(), [](const auto& member) {
        return isValidUTF8(member.key()) && isValid(member.value(), maximumJSONDepth);
    });
    return isSound ? std::move(object) : repaired(std::move(object), maximumJSONDepth + 1);
}

}  // namespace zentara
