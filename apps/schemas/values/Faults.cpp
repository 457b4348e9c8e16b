#include "schemas/values/Faults.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>

#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

constexpr auto keywords = std::to_array<std::pair<std::string_view, unsigned>>({
    {"type", kinds::all},
    {"enum", kinds::all},
    {"not", kinds::all},
    {"anyOf", kinds::all},
    {"oneOf", kinds::all},
    {"format", kinds::string},
    {"pattern", kinds::string},
    {"minLength", kinds::string},
    {"maxLength", kinds::string},
    {"minimum", kinds::number},
    {"maximum", kinds::number},
    {"multipleOf", kinds::number},
    {"minItems", kinds::array},
    {"maxItems", kinds::array},
    {"uniqueItems", kinds::array},
    {"additionalItems", kinds::array},
    {"required", kinds::object},
    {"dependencies", kinds::object},
    {"minProperties", kinds::object},
    {"maxProperties", kinds::object},
    {"additionalProperties", kinds::object},
});

constexpr std::int64_t mostAdded = 2000;

/// Values in the place of one, which are likely to violate one keyword and no other.
class Candidates {
  public:
    Candidates(const SchemaIndex& index, const Place& place, const JSONValue& value, Random& random)
        : index_(index), place_(place), value_(value), random_(random) {}

    std::vector<JSONValue> of(const JSONObject& schema, std::string_view keyword,
                              std::string_view name) {
        const auto& demand = schema.at(keyword);
        if (keyword == "type") others();
        if (keyword == "enum") unlisted();
        if (keyword == "not" || keyword == "anyOf" || keyword == "oneOf") choices(demand);
        if (value_.isNumber()) numbers(schema, keyword, demand);
        if (value_.isString()) texts(keyword, demand);
        if (const auto* const array = value_.ifArray()) arrays(*array, keyword, demand);
        if (const auto* const object = value_.ifObject()) objects(*object, keyword, demand, name);
        return std::move(all_);
    }

  private:
    void others() {
        for (const JSONValue& other :
             {JSONValue("text"), JSONValue(7), JSONValue(true), JSONValue(1.5), JSONValue(),
              JSONValue(JSONArray()), JSONValue(JSONObject())})
            if ((kinds::of(other) & place_.kinds) == 0) all_.push_back(other);
    }

    void unlisted() {
        if (value_.isString()) {
            all_.emplace_back(std::string(value_.string()) + "-x");
            all_.emplace_back("other");
            all_.emplace_back("x");
        } else if (const auto integer = value_.ifInteger()) {
            for (const std::int64_t step : {1, -1, 7, 1000})
                if (std::abs(*integer / 2) < INT64_MAX / 4) all_.emplace_back(*integer + step);
        } else if (const auto number = value_.asDouble()) {
            all_.emplace_back(*number + 0.5);
        }
        others();
    }

    void choices(const JSONValue& demand) {
        JointSchemas together = place_.demands;
        const auto add = [&together](const JSONValue& each) {
            if (each.isObject()) together.push_back(&each.object());
        };
        if (const auto* const list = demand.ifArray()) {
            for (const auto& each : *list)
                add(each);
        } else {
            add(demand);
        }
        for (int i = 0; i < 4; ++i)
            all_.push_back(drawn(together));
        for (int i = 0; i < 4; ++i)
            all_.push_back(drawn({}));
        others();
    }

    JSONValue drawn(const JointSchemas& demands, std::string_view name = {}) {
        return Drawing(index_, random_.next(), Style::varied).drawFor(demands, name);
    }

    void numbers(const JSONObject& schema, std::string_view keyword, const JSONValue& demand) {
        const auto bound = demand.asDouble();
        if (!bound || std::abs(*bound) > 9e15) return;
        const auto add = [this](double number) {
            if (!value_.isDouble() && number == std::floor(number)) {
                all_.emplace_back(static_cast<std::int64_t>(number));
            } else if (value_.isDouble()) {
                all_.emplace_back(number);
            }
        };
        const double unit = [this] {
            double largest = 0;
            for (const auto* const each : place_.demands)
                if (const auto* const divisor = each->find("multipleOf"))
                    largest = std::max(largest, divisor->asDouble().value_or(0));
            return largest;
        }();
        if (keyword == "multipleOf") {
            const double number = *value_.asDouble();
            for (const double step : {1.0, -1.0, *bound / 2, *bound / 4, -*bound / 2, 2.0})
                add(number + step);
        } else if (keyword == "minimum" || keyword == "maximum") {
            const bool isLeast = keyword == "minimum";
            const auto* const exclusive =
                schema.find(isLeast ? "exclusiveMinimum" : "exclusiveMaximum");
            if (exclusive != nullptr && exclusive->ifBoolean() == true) add(*bound);
            const double sign = isLeast ? -1 : 1;
            const double next = isLeast ? std::ceil(*bound) - 1 : std::floor(*bound) + 1;
            add(next);
            add(*bound + sign * 0.5);
            if (unit <= 0) return;
            const double factor =
                isLeast ? std::ceil(*bound / unit) - 1 : std::floor(*bound / unit) + 1;
            for (int i = 0; i < 4; ++i)
                add((factor + sign * i) * unit);
        }
    }

    void texts(std::string_view keyword, const JSONValue& demand) {
        const std::string text(value_.string());
        if (keyword == "format" && demand.isString()) {
            for (const auto* const other : {"not it", "12", "x", "999.1.1.1", "x y", ""})
                all_.emplace_back(other);
        } else if (keyword == "pattern") {
            for (const std::string_view other : {"~", " ", "0", "x", "Z", "-"}) {
                if (isValidUTF8(text) && characterCount(text) == text.size()) {
                    for (std::size_t i = 0; i < std::min<std::size_t>(text.size(), 8); ++i)
                        all_.emplace_back(std::string(text).replace(i, 1, other));
                }
                all_.emplace_back(text + std::string(other));
                all_.emplace_back(std::string(other));
            }
            all_.emplace_back("");
        } else if (keyword == "minLength" || keyword == "maxLength") {
            const auto bound = demand.asInteger().value_or(-1);
            if (bound < 0 || bound > mostAdded) return;
            const auto length = keyword == "minLength" ? bound - 1 : bound + 1;
            if (length < 0) return;
            const auto size = static_cast<std::size_t>(length);
            const bool isPlain = characterCount(text) == text.size();
            auto fitted = isPlain ? text : std::string();
            if (fitted.size() < size) {
                const char last = fitted.empty() ? 'x' : fitted.back();
                auto front = fitted;
                front.insert(0, size - front.size(), front.empty() ? 'x' : front.front());
                all_.emplace_back(front);
                fitted.append(size - fitted.size(), last);
            }
            all_.emplace_back(fitted.substr(0, size));
            all_.emplace_back(fitted.substr(fitted.size() - size));
            all_.emplace_back(std::string(size, 'x'));
            for (const auto* const each : place_.demands) {
                const auto* const pattern = each->find("pattern");
                if (pattern == nullptr || !pattern->isString()) continue;
                for (int i = 0; i < 6; ++i)
                    if (auto other = index_.pattern(pattern->string())
                                         .draw(random_, i % 2 == 0 ? size : size / 2))
                        all_.emplace_back(*std::move(other));
            }
        }
    }

    void arrays(const JSONArray& array, std::string_view keyword, const JSONValue& demand) {
        auto other = array;
        const auto bound = demand.asInteger();
        const auto more = [this, &other] {
            const auto demands = index_.element(place_.demands, other.size());
            other.push_back(demands ? drawn(*demands) : JSONValue("x"));
        };
        if (keyword == "minItems" && bound) {
            while (static_cast<std::int64_t>(other.size()) >= *bound && !other.empty())
                other.pop_back();
        } else if (keyword == "maxItems" && bound && *bound <= mostAdded) {
            while (static_cast<std::int64_t>(other.size()) <= *bound)
                more();
        } else if (keyword == "uniqueItems" && !array.empty()) {
            other.push_back(array.front());
            if (array.size() > 1) {
                auto replaced = array;
                replaced[replaced.size() - 1] = array.front();
                all_.emplace_back(std::move(replaced));
            }
        } else if (keyword == "additionalItems") {
            while (other.size() < 100 && index_.element(place_.demands, other.size()))
                more();
            other.push_back("x");
        } else {
            return;
        }
        all_.emplace_back(std::move(other));
    }

    void objects(const JSONObject& object, std::string_view keyword, const JSONValue& demand,
                 std::string_view name) {
        auto other = object;
        const auto bound = demand.asInteger();
        if (keyword == "required") {
            other.erase(name);
        } else if (keyword == "additionalProperties" && demand.ifBoolean() == false) {
            for (const auto* const added : {"unexpected", "Unexpected-1"}) {
                auto more = object;
                more.set(added, true);
                all_.emplace_back(std::move(more));
            }
            return;
        } else if (keyword == "minProperties" && bound) {
            while (static_cast<std::int64_t>(other.size()) >= *bound && !other.empty())
                other.erase(std::string(random_.chance(50) ? other.begin()->key()
                                                           : (other.end() - 1)->key()));
        } else if (keyword == "maxProperties" && bound && *bound <= mostAdded) {
            for (const auto* const schema : place_.demands) {
                if (const auto* const named = index_.objects(*schema, "properties"))
                    for (const auto& [added, unused] : *named)
                        if (static_cast<std::int64_t>(other.size()) <= *bound &&
                            !other.contains(added))
                            addMember(other, added);
            }
            for (int i = 1; static_cast<std::int64_t>(other.size()) <= *bound; ++i)
                addMember(other, "extra" + std::to_string(i));
        } else if (keyword == "dependencies") {
            if (!other.contains(name)) addMember(other, name);
            const auto* const wanted = demand.isObject() ? demand.object().find(name) : nullptr;
            if (wanted != nullptr && wanted->isArray()) {
                for (const auto& each : wanted->array()) {
                    auto less = other;
                    if (each.isString()) less.erase(each.string());
                    all_.emplace_back(std::move(less));
                }
            }
        } else {
            return;
        }
        all_.emplace_back(std::move(other));
    }

    void addMember(JSONObject& object, std::string_view name) {
        object.set(name, drawn(index_.member(place_.demands, name).value_or(JointSchemas()), name));
    }

    const SchemaIndex& index_;
    const Place& place_;
    const JSONValue& value_;
    Random& random_;
    std::vector<JSONValue> all_;
};

}  // namespace

std::vector<Faults::Target> Faults::targets(const Drawn& drawn, unsigned kinds) const {
    std::vector<Target> result;
    auto whole = drawn.value;
    const auto add = [&](std::size_t place, Requirement requirement) {
        const auto known = tries_.find(requirement);
        result.push_back({place, requirement, known == tries_.end() ? 0 : known->second});
    };
    constexpr std::size_t mostTargets = 20'000;
    for (std::size_t place = 0; place < drawn.places.size(); ++place) {
        const auto* const part = Drawn::part(whole, drawn.places, place);
        if (part == nullptr || result.size() > mostTargets) continue;
        for (const auto* const schema : drawn.places[place].demands) {
            for (const auto& [keyword, examined] : keywords) {
                const auto* const demand = schema->find(keyword);
                if (demand == nullptr || (kinds::of(*part) & examined) == 0) continue;
                if (place == 0 && kinds == kinds::object && keyword == "type") continue;
                if (keyword == "required" && demand->isArray()) {
                    for (const auto& name : demand->array())
                        if (name.isString()) add(place, {schema, keyword, name.string()});
                } else if (keyword == "dependencies" && demand->isObject()) {
                    for (const auto& member : demand->object())
                        add(place, {schema, keyword, member.key()});
                } else {
                    add(place, {schema, keyword, {}});
                }
            }
        }
    }
    std::stable_sort(result.begin(), result.end(), [](const Target& one, const Target& other) {
        return one.tries < other.tries;
    });
    return result;
}

std::optional<std::pair<JSONValue, std::string>> Faults::breakOne(const Drawn& drawn,
                                                                  unsigned kinds, Random& random) {
    constexpr int mostChecks = 200;
    int checks = 0;
    for (const auto& target : targets(drawn, kinds)) {
        ++tries_[target.requirement];
        const auto& [schema, keyword, name] = target.requirement;
        auto broken = drawn.value;
        auto* const part = Drawn::part(broken, drawn.places, target.place);
        const auto original = *part;
        for (auto& candidate : Candidates(index_, drawn.places[target.place], original, random)
                                   .of(*schema, keyword, name)) {
            if (target.place == 0 && (kinds::of(candidate) & kinds) == 0) continue;
            *part = std::move(candidate);
            auto verdict = index_.validate(broken);
            if (!verdict.isValid && !verdict.isStopped && verdict.messages.size() == 1)
                return std::pair(std::move(broken), std::move(verdict.messages.front()));
            if (++checks == mostChecks) return std::nullopt;
        }
    }
    return std::nullopt;
}

}  // namespace zentara::schemas
