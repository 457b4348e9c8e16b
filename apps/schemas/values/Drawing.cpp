#include "schemas/values/Drawing.h"

#include <algorithm>
#include <array>
#include <functional>
#include <set>
#include <unordered_map>
#include <utility>

#include "schemas/values/Scalars.h"

namespace zentara::schemas {

namespace {

/// Parts that may be drawn for a value, and below which optional ones are left out.
constexpr std::size_t mostParts = 20'000;
constexpr std::size_t fewParts = 2'000;
constexpr std::size_t deepest = 500;
constexpr std::size_t comfortableDepth = 12;

/// What a schema without a type is about.
unsigned describedKinds(const JointSchemas& all) {
    constexpr auto hints = std::to_array<std::pair<std::string_view, unsigned>>({
        {"properties", kinds::object},
        {"required", kinds::object},
        {"patternProperties", kinds::object},
        {"additionalProperties", kinds::object},
        {"minProperties", kinds::object},
        {"maxProperties", kinds::object},
        {"dependencies", kinds::object},
        {"items", kinds::array},
        {"minItems", kinds::array},
        {"maxItems", kinds::array},
        {"uniqueItems", kinds::array},
        {"minLength", kinds::string},
        {"maxLength", kinds::string},
        {"pattern", kinds::string},
        {"format", kinds::string},
        {"minimum", kinds::number},
        {"maximum", kinds::number},
        {"multipleOf", kinds::number},
    });
    unsigned described = 0;
    for (const auto* const schema : all)
        for (const auto& [keyword, kinds] : hints)
            if (schema->contains(keyword)) described |= kinds;
    return described;
}

/// Names in the order in which they came, each once.
class Names {
  public:
    void add(std::string_view name) {
        if (known_.emplace(name).second) all_.emplace_back(name);
    }
    [[nodiscard]] bool contains(std::string_view name) const {
        return known_.find(name) != known_.end();
    }
    [[nodiscard]] const std::vector<std::string>& all() const noexcept { return all_; }
    [[nodiscard]] std::size_t size() const noexcept { return all_.size(); }

  private:
    std::vector<std::string> all_;
    std::set<std::string, std::less<>> known_;
};

}  // namespace

JSONValue* Drawn::part(JSONValue& value, const std::vector<Place>& places, std::size_t place) {
    if (place == 0) return &value;
    auto* const outer = part(value, places, places[place].outer);
    if (outer == nullptr) return nullptr;
    if (auto* const object = outer->ifObject()) return object->find(places[place].name);
    auto* const array = outer->ifArray();
    return array != nullptr && places[place].index < array->size() ? &(*array)[places[place].index]
                                                                   : nullptr;
}

Drawn Drawing::draw(unsigned kinds) {
    drawn_ = {};
    budget_ = mostParts;
    drawn_.value = value({&index_.document()}, kinds, {0, 0, seed_, 0, {}});
    return std::move(drawn_);
}

JSONValue Drawing::drawFor(const JointSchemas& demands, std::string_view name) {
    drawn_ = {};
    budget_ = fewParts;
    return value(demands, kinds::all, {0, 0, seed_, 0, name});
}

void Drawing::redraw(const Drawn& drawn, const MessagePlaces& refused) {
    std::unordered_map<const JSONValue*, std::size_t> known;
    std::vector<const JSONValue*> parts;
    for (std::size_t i = 0; i < drawn.places.size(); ++i) {
        const auto& place = drawn.places[i];
        const auto* const outer = i == 0 ? nullptr : parts[place.outer];
        const JSONValue* part = i == 0 ? &drawn.value : nullptr;
        if (outer != nullptr && outer->isObject()) part = outer->object().find(place.name);
        if (outer != nullptr && outer->isArray() && place.index < outer->array().size())
            part = &outer->array()[place.index];
        parts.push_back(part);
        if (part != nullptr) known.emplace(part, i);
    }
    std::vector<std::uint64_t> paths;
    for (const auto* const part : refused) {
        const auto found = known.find(part);
        // What a schema gives as an example has no places inside.
        const auto path = found == known.end() ? 0 : drawn.places[found->second].path;
        if (std::find(paths.begin(), paths.end(), path) != paths.end()) continue;
        paths.push_back(path);
        // The value may fit only another choice around it.
        if (++again_[path] % 8 == 0 && found != known.end())
            ++again_[drawn.places[drawn.places[found->second].outer].path];
        if (paths.size() == 100) break;
    }
    if (paths.empty()) ++again_[0];
}

/// With references, all of "allOf", and a choice of "anyOf" and "oneOf".
JointSchemas Drawing::expanded(JointSchemas demands, Random& random, bool isPleasant) const {
    constexpr std::size_t mostDemands = 300;
    for (std::size_t i = 0; i < demands.size() && demands.size() < mostDemands; ++i) {
        const auto add = [&demands](const JSONObject* schema) {
            if (std::find(demands.begin(), demands.end(), schema) == demands.end())
                demands.push_back(schema);
        };
        const auto& schema = *demands[i];
        if (const auto* const target = index_.target(schema)) add(target);
        const auto choices = [this, &schema](std::string_view keyword) {
            return index_.list(schema, keyword, JSONValue::Kind::object);
        };
        if (const auto* const all = choices("allOf"))
            for (const auto& each : *all)
                add(&each.object());
        for (const auto* const keyword : {"anyOf", "oneOf"}) {
            const auto* const some = choices(keyword);
            if (some == nullptr || some->empty()) continue;
            add(&(*some)[isPleasant ? 0 : random.below(some->size())].object());
        }
    }
    return demands;
}

unsigned Drawing::chosenKind(const JointSchemas& all, unsigned kinds, Random& random,
                             const Context& context, bool isPleasant) const {
    if (const auto described = describedKinds(all) & kinds;
        described != 0 && (isPleasant || kinds != kinds::all || random.chance(75))) {
        // Null and others stay possible when the type names them.
        const bool isNarrowed = isPleasant || kinds == kinds::all || random.chance(80);
        if (isNarrowed) kinds = described;
    }
    constexpr unsigned nested = kinds::array | kinds::object;
    if (context.depth > comfortableDepth && (kinds & ~nested) != 0) kinds &= ~nested;
    if (isPleasant && kinds == kinds::all) return kinds::string;
    constexpr std::array<unsigned, 6> order{kinds::object, kinds::array,   kinds::string,
                                            kinds::number, kinds::boolean, kinds::null};
    std::vector<unsigned> possible;
    for (const auto each : order)
        if ((kinds & each) != 0) possible.push_back(kinds & each);
    if (possible.empty()) return kinds::null;
    return isPleasant ? possible.front() : random.oneOf(possible);
}

/// One of "enum", or in pleasant values what the schema gives as an example.
std::optional<JSONValue> Drawing::listed(const JointSchemas& all, unsigned kinds,
                                         std::uint64_t position, bool isPleasant) const {
    std::vector<const JSONValue*> candidates;
    bool isFirst = true;
    for (const auto* const schema : all) {
        const auto* const list = schema->find("enum");
        if (list == nullptr || !list->isArray()) continue;
        const auto isListed = [list](const JSONValue* value) {
            const auto& array = list->array();
            return std::find(array.begin(), array.end(), *value) != array.end();
        };
        if (isFirst) {
            for (const auto& each : list->array())
                if ((kinds::of(each) & kinds) != 0) candidates.push_back(&each);
        } else {
            std::erase_if(candidates, [&](const JSONValue* each) { return !isListed(each); });
        }
        isFirst = false;
    }
    if (!isFirst) {
        if (candidates.empty()) return JSONValue();
        return *candidates[isPleasant ? 0 : position % candidates.size()];
    }
    if (!isPleasant) return std::nullopt;
    for (const auto* const schema : all) {
        for (const auto* const keyword : {"example", "examples", "default"}) {
            const auto* example = schema->find(keyword);
            if (example != nullptr && example->isArray() && !example->array().empty())
                example = &example->array().front();
            if (example == nullptr || example->isArray() || example->isObject()) continue;
            if ((kinds::of(*example) & kinds) != 0) return *example;
        }
    }
    return std::nullopt;
}

JSONValue Drawing::value(JointSchemas demands, unsigned kinds, Context context, std::size_t index) {
    if (budget_ == 0 || context.depth > deepest) return {};
    --budget_;
    const auto again = again_.find(context.path);
    const auto count = again == again_.end() ? 0 : again->second;
    const bool isPleasant = style_ == Style::pleasant && count == 0;
    const auto unchanged = mixed(context.seed, 0);
    context.seed = mixed(context.seed, count);
    Random random(context.seed);

    auto all = expanded(std::move(demands), random, isPleasant);
    for (const auto* const schema : all)
        kinds &= kindsOfType(schema->find("type"));
    const auto place = drawn_.places.size();
    drawn_.places.push_back(
        {context.outer, std::string(context.name), index, context.path, all, kinds});
    context.outer = place;
    if (auto value = listed(all, kinds, unchanged + count, isPleasant)) return *std::move(value);

    const auto chosen = chosenKind(all, kinds, random, context, isPleasant);
    const ScalarDemands scalar{index_, all, context.name, isPleasant};
    if ((chosen & kinds::number) != 0) return drawNumber(scalar, chosen, random);
    if (chosen == kinds::string) return drawText(scalar, random);
    if (chosen == kinds::boolean) return isPleasant || random.chance(50);
    if (chosen == kinds::null) return {};

    const auto opened = open_.size();
    open_.insert(open_.end(), all.begin(), all.end());
    auto result = chosen == kinds::array ? array(all, random, context, isPleasant)
                                         : object(all, random, context, isPleasant);
    open_.resize(opened);
    drawn_.places[place].demands = std::move(all);
    return result;
}

bool Drawing::leadsBack(const JointSchemas& demands) const {
    return std::any_of(demands.begin(), demands.end(), [this](const JSONObject* schema) {
        const auto* const target = index_.target(*schema);
        return std::find(open_.begin(), open_.end(), target == nullptr ? schema : target) !=
               open_.end();
    });
}

JSONValue Drawing::array(const JointSchemas& all, Random& random, const Context& context,
                         bool isPleasant) {
    const auto bounds = SchemaIndex::bounds(all, "minItems", "maxItems");
    if (bounds.least > std::int64_t{mostParts}) return JSONArray();
    const auto least = std::max(bounds.least, std::int64_t{0});
    constexpr std::int64_t reach = 4;
    auto most = std::max(least, std::min(bounds.most, least + reach));
    std::int64_t size = 0;
    if (isPleasant || style_ == Style::complete) {
        size = 2;
        for (const auto* const schema : all)
            if (const auto* const items = index_.list(*schema, "items", JSONValue::Kind::object))
                size = std::max(size, static_cast<std::int64_t>(items->size()));
        if (!isPleasant) size = std::min(size, std::int64_t{1} + random.between(0, 1));
        size = std::clamp(size, least, std::max(least, bounds.most));
    } else {
        constexpr std::int64_t longReach = 24;
        if (context.depth < 4 && random.chance(bounds.most <= longReach ? 20 : 6))
            most = std::max(least, std::min(bounds.most, least + longReach));
        size = random.chance(25) ? least : random.chance(25) ? most : random.between(least, most);
    }
    const bool areUnique = std::any_of(all.begin(), all.end(), [](const JSONObject* schema) {
        const auto* const unique = schema->find("uniqueItems");
        return unique != nullptr && unique->ifBoolean() == true;
    });
    JSONArray result;
    for (std::size_t i = 0; i < static_cast<std::size_t>(size) && budget_ > 0; ++i) {
        auto demands = index_.element(all, i);
        if (!demands) break;
        const bool isOptional = static_cast<std::int64_t>(i) >= least;
        if (isOptional && (context.depth > comfortableDepth || budget_ < fewParts)) break;
        if (isOptional && leadsBack(*demands) && (isPleasant || random.chance(60))) break;
        const auto path = mixed(context.path, i);
        Context inner{context.outer, path, mixed(context.seed, i), context.depth + 1, {}};
        inner.name = context.name;
        const auto places = drawn_.places.size();
        auto element = value(*demands, kinds::all, inner, i);
        for (std::uint64_t attempt = 1; areUnique && attempt < 12; ++attempt) {
            if (std::find(result.begin(), result.end(), element) == result.end()) break;
            drawn_.places.resize(places);
            // Pleasant values repeat themselves.
            const auto style = std::exchange(style_, Style::varied);
            inner.seed = mixed(inner.seed, attempt);
            element = value(*demands, kinds::all, inner, i);
            style_ = style;
        }
        result.push_back(std::move(element));
    }
    return result;
}

std::vector<std::string> Drawing::names(JointSchemas& all, Random& random, const Context& context,
                                        bool isPleasant) {
    const auto bounds = SchemaIndex::bounds(all, "minProperties", "maxProperties");
    constexpr std::int64_t mostNeeded = 1000;
    if (bounds.least > mostNeeded) return {};
    const auto least = static_cast<std::size_t>(std::max(bounds.least, std::int64_t{0}));
    const auto most =
        static_cast<std::size_t>(std::clamp(bounds.most, std::int64_t{0}, std::int64_t{mostParts}));

    const auto texts = [this](const JSONObject& schema, std::string_view key) {
        return index_.list(schema, key, JSONValue::Kind::string);
    };
    Names needed;
    Names declared;
    for (const auto* const schema : all) {
        if (const auto* const names = texts(*schema, "required"))
            for (const auto& name : *names)
                needed.add(name.string());
        if (const auto* const properties = index_.objects(*schema, "properties"))
            for (const auto& member : *properties)
                if (declared.size() < budget_) declared.add(member.key());
    }
    if (needed.size() > budget_) return {};
    const bool isWhole = isPleasant || style_ == Style::complete;
    const unsigned density = isWhole ? 100 : random.oneOf(std::array<unsigned, 4>{0, 30, 60, 100});
    const bool isDeep = context.depth > comfortableDepth;

    Names present;
    std::vector<std::string> absent;
    std::size_t optional = most - std::min(most, needed.size());
    for (const auto& name : declared.all()) {
        bool isPresent = needed.contains(name);
        if (!isPresent && optional > 0 && !isDeep && random.chance(density) &&
            budget_ > fewParts + present.size()) {
            const auto demands = index_.member(all, name);
            isPresent = demands && !(leadsBack(*demands) && (isPleasant || random.chance(70)));
            if (isPresent) --optional;
        }
        if (isPresent) {
            present.add(name);
        } else {
            absent.push_back(name);
        }
    }
    for (const auto& name : needed.all())
        present.add(name);
    while (present.size() < least && !absent.empty()) {
        const auto position = random.below(absent.size());
        present.add(absent[position]);
        absent[position] = std::move(absent.back());
        absent.pop_back();
    }

    // Names that are not declared.
    const auto addFree = [&](std::string_view name) {
        if (present.size() < most && index_.member(all, name)) present.add(name);
    };
    if (!isDeep) {
        for (const auto* const schema : all) {
            const auto* const patterns = index_.objects(*schema, "patternProperties");
            if (patterns == nullptr) continue;
            for (const auto& member : *patterns) {
                if (present.size() > fewParts) break;
                if (!isWhole && random.chance(50)) continue;
                if (const auto name = index_.pattern(member.key()).draw(random, 3)) addFree(*name);
            }
        }
    }
    constexpr auto freeNames =
        std::to_array<std::string_view>({"extra", "note", "x", "Other-1", "campaign", "\xC3\xA4"});
    if (!isWhole && !isDeep && random.chance(15)) addFree(random.oneOf(freeNames));
    for (std::size_t i = 1; present.size() < least && i <= 2 * least; ++i)
        addFree("extra" + std::to_string(i));

    // What depends on the names.
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto* const entries = all[i]->find("dependencies");
        if (entries == nullptr || !entries->isObject()) continue;
        for (const auto& [name, dependency] : entries->object()) {
            if (!present.contains(name)) continue;
            if (const auto* const wanted = texts(entries->object(), name))
                for (const auto& each : *wanted)
                    present.add(each.string());
            if (!dependency.isObject()) continue;
            for (const auto* const each : expanded({&dependency.object()}, random, isPleasant)) {
                if (std::find(all.begin(), all.end(), each) == all.end()) all.push_back(each);
                if (const auto* const wanted = texts(*each, "required"))
                    for (const auto& other : *wanted)
                        present.add(other.string());
            }
        }
    }
    return present.all();
}

JSONValue Drawing::object(JointSchemas& all, Random& random, const Context& context,
                          bool isPleasant) {
    JSONObject result;
    for (const auto& name : names(all, random, context, isPleasant)) {
        const auto demands = index_.member(all, name);
        const auto hash = hashOf(name);
        result.set(name, value(demands.value_or(JointSchemas()), kinds::all,
                               {context.outer, mixed(context.path, hash), mixed(context.seed, hash),
                                context.depth + 1, name}));
    }
    return result;
}

}  // namespace zentara::schemas
