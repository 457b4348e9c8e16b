#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "json/JSONValue.h"

namespace zentara::schemas {

/// Draws values for a schema. The same document, seed and calls give the same values, on every
/// machine. The engine confirms each value before it is returned. For one thread.
class Sampler {
  public:
    /// A value with one fault, and the only message of the engine about it.
    struct Invalid {
        JSONValue value;
        std::string message;
    };
    enum class Values : std::uint8_t {
        properties,  ///< objects only, as an event has them
        any,
    };

    /// The document must outlive the sampler.
    Sampler(const JSONObject& document, std::uint64_t seed, Values values = Values::properties);
    ~Sampler();
    Sampler(const Sampler&) = delete;
    Sampler& operator=(const Sampler&) = delete;

    /// A valid value; nothing if none was found. The first one has every property and is pleasant
    /// to read; later ones vary what is present and reach for the bounds.
    [[nodiscard]] std::optional<JSONValue> valid();

    /// Another value that violates the schema once; nothing if none was found.
    [[nodiscard]] std::optional<Invalid> invalid();

    /// Whether the engine accepts a value. False for a value that would end the process
    /// ("numericString" on a value that is not a string).
    [[nodiscard]] bool accepts(const JSONValue& value) const;

  private:
    struct Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zentara::schemas
