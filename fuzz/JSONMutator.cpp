#include "JSONMutator.h"

#include <algorithm>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Check.h"
#include "json/JSONText.h"

namespace zentara::fuzz {

namespace {

constexpr std::size_t mostNodes = 20'000;

class Mutation {
  public:
    Mutation(std::vector<JSONValue>& documents, unsigned int seed) : random_(seed) {
        for (auto& document : documents)
            collect(document);
    }

    void apply() {
        auto& node = *pick(nodes_);
        // A copy, since source and target may contain each other.
        auto other = *pick(nodes_);
        const auto change = random_() % 5;
        if (change == 0) node = std::move(other);
        if (change == 1) insert(node, std::move(other));
        if (change == 2) erase(node);
        if (change == 3) node = scalar();
        if (change == 4) changeInside(node);
    }

  private:
    void collect(JSONValue& value) {
        if (nodes_.size() == mostNodes) return;
        nodes_.push_back(&value);
        if (auto* const array = value.ifArray()) {
            for (auto& element : *array)
                collect(element);
        } else if (auto* const object = value.ifObject()) {
            for (auto& member : *object) {
                names_.emplace_back(member.key());
                collect(member.value());
            }
        }
    }

    template <typename Items>
    const typename Items::value_type& pick(const Items& items) {
        return items[random_() % items.size()];
    }

    std::string name() { return names_.empty() ? "a" : pick(names_); }

    void insert(JSONValue& node, JSONValue other) {
        if (auto* const array = node.ifArray()) {
            for (auto copies = random_() % 8 == 0 ? random_() % 64 : 1; copies > 0; --copies)
                array->push_back(other);
        } else if (auto* const object = node.ifObject()) {
            (*object)[name()] = std::move(other);
        } else {
            node = std::move(other);
        }
    }

    void erase(JSONValue& node) {
        if (auto* const array = node.ifArray(); array != nullptr && !array->empty()) {
            array->erase(array->begin() + static_cast<std::ptrdiff_t>(random_() % array->size()));
        } else if (auto* const object = node.ifObject(); object != nullptr && !object->empty()) {
            object->erase(std::string(object->begin()[random_() % object->size()].key()));
        } else {
            node = nullptr;
        }
    }

    JSONValue scalar() {
        static const auto values = JSONValue::parse(
            R"([null, true, false, 0, 1, -1, 3, 1.0, 0.1, -2.5, 1e-5, 1e16, 1000000000,
                9223372036854775807, -9223372036854775808, 18446744073709551615, 1e300,
                9223372036854775808.0, "", "a", "#", "#/", "\r\n", ";",
                "\ud83d\udc68\u200d\ud83d\udc69", "e\u0301", [], {}])");
        return pick(values.array());
    }

    void changeInside(JSONValue& node) {
        if (const auto string = node.ifString()) {
            std::string bytes(*string);
            const auto size = bytes.size();
            bytes.resize(size + 16);
            bytes.resize(LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(bytes.data()), size,
                                          bytes.size()));
            node = JSONValue(bytes);
        } else if (const auto integer = node.ifInteger()) {
            // Unsigned, since that may overflow.
            node =
                static_cast<std::int64_t>(static_cast<std::uint64_t>(*integer) + random_() % 5 - 2);
        } else if (const auto number = node.ifDouble()) {
            node = *number * (random_() % 2 == 0 ? 10 : -0.1);
        } else if (auto* const object = node.ifObject(); object != nullptr && !object->empty()) {
            const auto& chosen = object->begin()[random_() % object->size()];
            auto member = chosen.value();
            object->erase(std::string(chosen.key()));
            (*object)[name()] = std::move(member);
        } else {
            node = scalar();
        }
    }

    std::minstd_rand random_;
    std::vector<JSONValue*> nodes_;
    std::vector<std::string> names_;
};

bool mutateValues(std::string_view input, unsigned int seed, std::string& output) {
    std::vector<JSONValue> documents;
    while (!input.empty()) {
        const auto [line, rest] = twoParts(input);
        auto parsed = parseJSON(line);
        if (parsed.error()) return false;
        documents.push_back(*std::move(parsed));
        input = rest;
    }
    if (documents.empty()) return false;
    Mutation(documents, seed).apply();
    for (const auto& document : documents) {
        if (!output.empty()) output += '\n';
        if (!appendJSON(output, document)) return false;
    }
    return true;
}

}  // namespace

std::size_t mutateJSON(std::uint8_t* data, std::size_t size, std::size_t capacity,
                       unsigned int seed) {
    std::string output;
    if (seed % 2 == 0 && mutateValues(asText(data, size), seed / 2, output) &&
        output.size() <= capacity) {
        std::copy(output.begin(), output.end(), data);
        return output.size();
    }
    return LLVMFuzzerMutate(data, size, capacity);
}

}  // namespace zentara::fuzz
