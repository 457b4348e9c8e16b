#include "schemas/types/TypeNames.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "schemas/types/Names.h"

namespace zentara::schemas {

std::size_t TypeNames::addProperty(std::string_view name, std::size_t outer) {
    work_.spend(1 + name.size() / 16);
    auto words = wordsOf(name);
    if (words.empty()) words.emplace_back("value");
    places_.push_back({std::move(words), outer, false});
    return places_.size() - 1;
}

std::size_t TypeNames::addItem(std::size_t list) {
    auto item = places_[list];
    work_.spend(1 + item.words.size());
    if (!item.isItem) item.words.emplace_back("item");
    item.isItem = true;
    places_.push_back(std::move(item));
    return places_.size() - 1;
}

std::vector<std::string> TypeNames::nameOf(std::size_t place, std::size_t levels) {
    std::vector<std::string> words;
    for (; levels > 0 && place != event; --levels, place = places_[place].outer) {
        const auto& more = places_[place].words;
        work_.spend(more.size());
        words.insert(words.begin(), more.begin(), more.end());
    }
    return words;
}

/// Adds a level to the names that are not the only ones; returns whether any has changed.
bool TypeNames::lengthen(std::vector<Candidate>& candidates) {
    work_.spend(candidates.size());
    std::unordered_map<std::string, std::size_t> counts;
    for (const auto& each : candidates)
        ++counts[identifier(each.name, NameStyle::upperCamel)];
    bool isChanged = false;
    for (auto& each : candidates) {
        if (counts[identifier(each.name, NameStyle::upperCamel)] == 1) continue;
        auto longer = nameOf(each.type.place, each.levels + 1);
        if (longer.size() == each.name.size()) continue;
        each.name = std::move(longer);
        ++each.levels;
        isChanged = true;
    }
    return isChanged;
}

void TypeNames::nameAll(std::vector<Type> types) {
    // In the order in which they were found.
    std::sort(types.begin(), types.end(),
              [](const Type& one, const Type& other) { return one.place < other.place; });
    std::vector<Candidate> candidates;
    for (const auto& type : types)
        candidates.push_back({type, 1, nameOf(type.place, 1)});
    while (lengthen(candidates)) {
    }
    std::unordered_set<std::string> used;
    for (auto& [type, levels, name] : candidates) {
        *type.words = name;
        for (std::size_t number = 2;
             !used.insert(identifier(*type.words, NameStyle::upperCamel)).second; ++number) {
            work_.spend(1);
            *type.words = name;
            type.words->back() += std::to_string(number);
        }
    }
}

}  // namespace zentara::schemas
