#include "schemas/values/Sampler.h"

#include <utility>

#include "schemas/values/Drawing.h"
#include "schemas/values/Faults.h"
#include "schemas/values/SchemaIndex.h"

namespace zentara::schemas {

struct Sampler::Implementation {
    Implementation(const JSONObject& document, std::uint64_t seed, Values values)
        : index(document),
          random(mixed(seed, 0)),
          kinds(values == Values::properties ? kinds::object : kinds::all) {}

    SchemaIndex index;
    Random random;
    unsigned kinds;
    bool isFirst = true;
    std::optional<Faults> faults;

    std::optional<Drawn> draw(Style style);
};

/// Draws, and draws again what the engine refuses, part by part.
std::optional<Drawn> Sampler::Implementation::draw(Style style) {
    constexpr int mostStarts = 4;
    constexpr int mostRounds = 24;
    constexpr std::size_t mostParts = 200'000;
    std::size_t parts = 0;
    int expensive = 0;
    for (int start = 0; start < mostStarts; ++start) {
        Drawing drawing(index, random.next(), style);
        for (int round = 0; round < mostRounds; ++round) {
            auto drawn = drawing.draw(kinds);
            const auto verdict = index.validate(drawn.value);
            if (verdict.isValid) {
                // The schema may permit only other kinds.
                if ((kinds::of(drawn.value) & kinds) != 0) return drawn;
                break;
            }
            parts += drawn.places.size();
            if (parts > mostParts || (verdict.isStopped && ++expensive == 3)) return std::nullopt;
            drawing.redraw(drawn, verdict.places);
        }
        style = Style::varied;
    }
    return std::nullopt;
}

Sampler::Sampler(const JSONObject& document, std::uint64_t seed, Values values)
    : implementation_(std::make_unique<Implementation>(document, seed, values)) {}

Sampler::~Sampler() = default;

std::optional<JSONValue> Sampler::valid() {
    const bool isFirst = std::exchange(implementation_->isFirst, false);
    auto drawn = implementation_->draw(isFirst ? Style::pleasant : Style::varied);
    if (!drawn) return std::nullopt;
    return std::move(drawn->value);
}

std::optional<Sampler::Invalid> Sampler::invalid() {
    auto& all = *implementation_;
    if (!all.faults) all.faults.emplace(all.index);
    for (int attempt = 0; attempt < 8; ++attempt) {
        const auto drawn = all.draw(attempt == 0 ? Style::complete : Style::varied);
        if (!drawn) return std::nullopt;
        if (auto found = all.faults->breakOne(*drawn, all.kinds, all.random))
            return Invalid{std::move(found->first), std::move(found->second)};
    }
    return std::nullopt;
}

bool Sampler::accepts(const JSONValue& value) const {
    return implementation_->index.validate(value).isValid;
}

}  // namespace zentara::schemas
