#include "schemas/generate/CppNames.h"

#include <algorithm>

#include "schemas/generate/ReservedWords.h"
#include "schemas/generate/Writer.h"
#include "schemas/types/Names.h"

namespace zentara::schemas {

CppNames::CppNames(const EventType& type) {
    auto reserved = wordsIn({wordsOfC});
    Scope events(type.path, reserved);
    event = events.add(type.name.key(), type.words, NameStyle::upperCamel);
    // A type in the event cannot have its name, nor a member the name of a type.
    reserved.push_back(event);
    const auto withoutTypes = reserved;
    Scope types(type.path, withoutTypes);
    for (const auto& each : type.enumerations) {
        const auto original = "enumeration " + std::to_string(enumerations.size());
        enumerations.push_back(
            {types.add(original, each.words, NameStyle::upperCamel),
             namesOfValues(each, type.path, NameStyle::lowerCamel, withoutTypes)});
    }
    for (const auto& each : type.records) {
        const auto original = "record " + std::to_string(records.size());
        const bool isEvent = &each == &type.records.back();
        records.push_back(
            {isEvent ? event : types.add(original, each.words, NameStyle::upperCamel), {}, {}});
    }
    for (const auto& each : enumerations)
        reserved.push_back(each.type);
    for (const auto& each : records)
        reserved.push_back(each.type);
    for (std::size_t position = 0; position < records.size(); ++position) {
        auto& names = records[position];
        Scope members(placeOf(type, type.records[position]), reserved);
        for (const auto& property : type.records[position].properties)
            names.members.push_back(
                members.add(property.key, wordsOf(property.key), NameStyle::lowerCamel));
        names.others = "otherProperties";
        while (std::find(names.members.begin(), names.members.end(), names.others) !=
               names.members.end())
            names.others += '_';
    }
}

std::string cppNamespace(const GeneratedNames& names) {
    const auto words = wordsIn({wordsOfC});
    const auto isForbidden = [&](const std::string& part) {
        return !isIdentifier(part) || part == "std" || part == "zentara" ||
               std::find(words.begin(), words.end(), part) != words.end();
    };
    const auto parts = partsOf(names.scope);
    if (!names.scope.empty() && std::any_of(parts.begin(), parts.end(), isForbidden))
        throw CommandError('"' + names.scope + "\" cannot be a namespace of C++");
    return names.scope;
}

}  // namespace zentara::schemas
