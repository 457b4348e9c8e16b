#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/check/CheckedSchema.h"
#include "schemas/diff/Comparison.h"
#include "schemas/files/SchemaFile.h"

namespace zentara::schemas {

/// A property of an event, for people.
struct PropertyRow {
    std::string key;        ///< in JSON
    std::string path;       ///< in the event: "lines[].quantity"
    std::size_t depth = 0;  ///< 0 for a property of the event itself
    bool isRequired = false;
    std::string type;                   ///< "array of integer or null"
    std::vector<std::string> rules;     ///< "1 to 20.", "Each element: At most 3 characters."
    std::vector<std::string> patterns;  ///< which a text must match
    std::vector<std::string> values;    ///< the permitted ones, if they are listed; JSON texts
    std::string description;
    std::string example;  ///< a JSON text; or empty
};

/// A call that sends the sample, in a language.
struct SampleCall {
    std::string_view language;      ///< "C++"
    std::string_view markdownName;  ///< "cpp"
    std::string code;
};

/// What a version of an event looks like, and how it differs from the version before.
struct EventVersion {
    SchemaName name;
    std::string title, description;

    std::vector<PropertyRow> properties;
    std::string otherProperties;  ///< a sentence: whether others are permitted
    std::string whyNone;          ///< a sentence: why neither properties nor calls can be told

    std::optional<JSONValue> sample;  ///< its properties
    std::vector<SampleCall> calls;
    std::string whyNoCalls;  ///< a sentence, if there is a sample

    std::string previous;  ///< the version before; empty for the first
    std::optional<Comparison> change;
    std::vector<Finding> findings;
};

struct EventPage {
    std::string id;
    std::vector<EventVersion> versions;  ///< the latest first; at least one
};

/// The events of a catalogue, by id. Schemas without a document or a name are left out. `scope` is
/// that of the generated types, "shop::events", or empty for the generators' own. The same schemas
/// give the same pages.
[[nodiscard]] std::vector<EventPage> describe(std::span<const CheckedSchema* const> schemas,
                                              const std::string& scope);

/// The sample as a line that zentara-track reads.
[[nodiscard]] std::string trackLine(const EventVersion& version);

}  // namespace zentara::schemas
