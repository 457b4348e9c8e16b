#include "json/UTF8Repair.h"

#include <algorithm>
#include <utility>

#include "json/JSONText.h"
#include "text/Unicode.h"

namespace zentara {

namespace {

// Both walks are bounded: what lies deeper than a document may be is refused later.
constexpr std::size_t walkedDepth = maximumJSONDepth + 1;

// NOLINTNEXTLINE(misc-no-recursion)
bool isValid(const JSONValue& value, std::size_t depth) {
    if (depth == 0) return true;
    if (const auto string = value.ifString()) return isValidUTF8(*string);
    if (const auto* array = value.ifArray()) {
        return std::all_of(array->begin(), array->end(),
                           [depth](const auto& element) { return isValid(element, depth - 1); });
    }
    if (const auto* object = value.ifObject()) {
        return std::all_of(object->begin(), object->end(), [depth](const auto& member) {
            return isValidUTF8(member.key()) && isValid(member.value(), depth - 1);
        });
    }
    return true;
}

JSONObject repairedCopy(const JSONObject& object, std::size_t depth);

// NOLINTNEXTLINE(misc-no-recursion)
JSONValue repairedCopy(const JSONValue& value, std::size_t depth) {
    if (const auto string = value.ifString()) {
        return withValidUTF8(std::string(*string));
    }
    if (const auto* array = value.ifArray()) {
        JSONArray copy;
        if (depth == 0) return copy;
        copy.reserve(array->size());
        for (const auto& element : *array)
            copy.push_back(repairedCopy(element, depth - 1));
        return copy;
    }
    if (const auto* object = value.ifObject()) return repairedCopy(*object, depth);
    return value;
}

// NOLINTNEXTLINE(misc-no-recursion)
JSONObject repairedCopy(const JSONObject& object, std::size_t depth) {
    JSONObject copy;
    if (depth == 0) return copy;
    copy.reserve(object.size());
    for (const auto& [key, value] : object) {
        copy[withValidUTF8(std::string(key))] = repairedCopy(value, depth - 1);
    }
    return copy;
}

}  // namespace

std::string withValidUTF8(std::string text) {
    return isValidUTF8(text) ? std::move(text) : repairedUTF8(text);
}

JSONObject ownedAndValid(JSONObject object) {
    const bool isSound = std::all_of(object.begin(), object.end(), [](const auto& member) {
        return isValidUTF8(member.key()) && isValid(member.value(), walkedDepth);
    });
    return isSound ? std::move(object) : repairedCopy(object, walkedDepth);
}

}  // namespace zentara
