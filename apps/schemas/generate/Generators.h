#pragma once

#include <span>
#include <string>
#include <vector>

#include "json/JSONValue.h"
#include "schemas/types/EventType.h"

namespace zentara::schemas {

/// A file that is generated.
struct GeneratedFile {
    std::string name;  ///< without a folder
    std::string content;
};

/// What generated code is called.
struct GeneratedNames {
    std::string file = "events";  ///< its name without an extension
    /// "shop::events" in C++; in C "shop_events_", in Objective-C a prefix such as "SHP".
    std::string scope;
};

// The same events give the same bytes. The events come sorted by name. Throw `CommandError` for
// names that cannot be told apart.

/// A header that needs only the library's.
[[nodiscard]] std::vector<GeneratedFile> generateCpp(std::span<const EventType> events,
                                                     const GeneratedNames& names);
/// A header for C11.
[[nodiscard]] std::vector<GeneratedFile> generateC(std::span<const EventType> events,
                                                   const GeneratedNames& names);
/// A header and a source.
[[nodiscard]] std::vector<GeneratedFile> generateObjC(std::span<const EventType> events,
                                                      const GeneratedNames& names);
/// A module.
[[nodiscard]] std::vector<GeneratedFile> generatePython(std::span<const EventType> events,
                                                        const GeneratedNames& names);

// A call that sends these properties through the generated types, as an application would write it.
[[nodiscard]] std::string callInCpp(const EventType& event, const JSONObject& properties,
                                    const GeneratedNames& names);
[[nodiscard]] std::string callInC(const EventType& event, const JSONObject& properties,
                                  const GeneratedNames& names);
[[nodiscard]] std::string callInObjC(const EventType& event, const JSONObject& properties,
                                     const GeneratedNames& names);
[[nodiscard]] std::string callInPython(const EventType& event, const JSONObject& properties,
                                       const GeneratedNames& names);

}  // namespace zentara::schemas
