// Validating an event's properties by a compiled schema, compared with parsing their text.

#include "json/JSONText.h"

#include <optional>

#include "Allocations.h"
#include "Comparison.h"
#include "Samples.h"
#include "schemas/Schema.h"

namespace zentara::bench {
namespace {

constexpr int rounds = 2000;
constexpr int runsPerRound = 5;

void compare(benchmark::State& state, const std::vector<const Sample*>& chosen,
             JSONObject Sample::*schema, JSONValue Sample::*value, double bar) {
    const bool isValid = value == &Sample::valid;
    std::int64_t allocated = 0;
    for ([[maybe_unused]] auto _ : state) {
        double ours = 0;
        double limit = 0;
        for (const auto* sample : chosen) {
            const std::string text = JSONValue(sample->*value).text();
            const Schema compiled(sample->*schema);
            if (compiled.validate(sample->*value).valid() != isValid)
                state.SkipWithError("not the expected outcome");
            Times validating;
            Times parsing;
            for (int round = 0; round < rounds; ++round) {
                const auto before = allocations();
                validating.measure(
                    [&] { benchmark::DoNotOptimize(compiled.validate(sample->*value)); },
                    runsPerRound);
                allocated = std::max(allocated, allocations() - before);
                parsing.measure([&] { benchmark::DoNotOptimize(parseJSONValue(text)); },
                                runsPerRound);
            }
            ours += validating.mean();
            limit += parsing.mean();
        }
        const auto count = static_cast<double>(chosen.size());
        report(state, ours / count, limit / count, bar);
        state.counters["allocations"] =
            static_cast<double>(allocated) / static_cast<double>(runsPerRound);
    }
}

void add(const std::string& name, const std::vector<const Sample*>& chosen,
         JSONObject Sample::*schema, JSONValue Sample::*value, double bar) {
    benchmark::RegisterBenchmark(name.c_str(), [=](benchmark::State& state) {
        compare(state, chosen, schema, value, bar);
    })->Iterations(1);
}

/// Compiling a schema, compared with ten validations by it.
void compile(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        Times compiling;
        Times validating;
        for (const auto& sample : samples()) {
            for (int round = 0; round < rounds; ++round) {
                auto document = sample.schema;
                std::optional<Schema> schema;
                compiling.measure([&] {
                    schema.emplace(std::move(document));
                    benchmark::DoNotOptimize(schema->title());
                });
                validating.measure([&] {
                    for (int run = 0; run < 10; ++run)
                        benchmark::DoNotOptimize(schema->validate(sample.valid));
                });
            }
        }
        report(state, compiling, validating, 1);
    }
}

BENCHMARK(compile)->Name("compile, 6 schemas, beside 10 validations")->Iterations(1);

const bool registered = [] {
    std::vector<const Sample*> all;
    for (const auto& sample : samples())
        all.push_back(&sample);
    add("validate, 6 schemas, without patterns", all, &Sample::plainSchema, &Sample::valid, 1);
    add("validate, 6 schemas, with patterns", all, &Sample::schema, &Sample::valid, 2);
    std::vector<const Sample*> others;
    for (const auto& sample : otherSamples())
        others.push_back(&sample);
    add("validate, 6 other schemas", others, &Sample::schema, &Sample::valid, 2);
    for (const auto* sample : all) {
        const auto properties =
            std::to_string(sample->schema.at("properties").object().size()) + " properties";
        add("validate, " + properties, {sample}, &Sample::schema, &Sample::valid, 2);
    }
    add("validate, 6 schemas, invalid events", all, &Sample::schema, &Sample::invalid, 0);
    return true;
}();

}  // namespace
}  // namespace zentara::bench
