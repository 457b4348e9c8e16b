#include "apps/schemas/languages/DrawnEvents.h"

#include "apps/schemas/RandomSchemas.h"
#include "schemas/values/Sampler.h"

namespace zentara::schemas {

std::vector<DrawnEvent> drawnEvents(const Draw& draw) {
    const std::vector<std::string> paths{ZENTARA_SOURCE_DIR "/examples/schemas", ZENTARA_SOURCE_DIR
                                         "/tests/apps/schemas/languages/schemas"};
    auto schemas = readValidSchemas(paths);
    for (std::size_t seed = 1; seed <= draw.randomSchemas; ++seed) {
        const auto text = JSONValue(randomSchema(seed)).text();
        schemas.push_back(SchemaFile::fromText("random" + std::to_string(seed) + "-1.json", text));
    }
    std::vector<DrawnEvent> events;
    for (auto& schema : schemas) {
        auto type = eventTypeOf(schema);
        auto& event = events.emplace_back(DrawnEvent{std::move(schema), std::move(type), {}});
        Sampler sampler(*event.schema.document, 20261122);
        while (event.values.size() < draw.valuesEach) {
            const auto value = sampler.valid();
            if (!value) break;
            event.values.push_back(value->object());
        }
    }
    return events;
}

std::vector<EventType> typesOf(const std::vector<DrawnEvent>& events) {
    std::vector<EventType> types;
    for (const auto& event : events)
        types.push_back(event.type);
    return types;
}

}  // namespace zentara::schemas
