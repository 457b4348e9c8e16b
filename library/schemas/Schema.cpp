#include "schemas/Schema.h"

#include <utility>

#include "schemas/SchemaCompiler.h"
#include "schemas/ValidationRun.h"

namespace zentara {

Schema::Schema(JSONObject document, std::span<const Format> formats,
               std::shared_ptr<SharedExpressions> expressions)
    : formats_(formats),
      expressions_(expressions ? std::move(expressions) : std::make_shared<SharedExpressions>()),
      document_(std::move(document)) {}

Schema::~Schema() {
    delete nodes_.load(std::memory_order_relaxed);
}

const SchemaNodes& Schema::nodes() const {
    if (const auto* const nodes = nodes_.load(std::memory_order_acquire)) return *nodes;
    const MutexLock lock(compiling_);
    if (const auto* const nodes = nodes_.load(std::memory_order_relaxed)) return *nodes;
    const auto* const nodes = SchemaCompiler(document_, formats_, expressions_).compile().release();
    nodes_.store(nodes, std::memory_order_release);
    document_ = {};
    return *nodes;
}

ValidationResult Schema::validate(const JSONValue& data, MessagePlaces* places) const {
    ValidationRun run(nodes());
    auto result = run.run(data);
    if (places != nullptr) *places = std::move(run.places());
    return result;
}

std::optional<std::string_view> Schema::title() const {
    return nodes().title.ifString();
}

std::optional<std::string_view> Schema::description() const {
    return nodes().description.ifString();
}

std::span<const Type> Schema::type() const {
    return nodes().types;
}

ValidationResult validate(const JSONValue& value, const JSONObject& schema) {
    SchemaCompiler compiler(schema, standardFormats(), std::make_shared<SharedExpressions>());
    return ValidationRun(*compiler.compile()).run(value);
}

}  // namespace zentara
