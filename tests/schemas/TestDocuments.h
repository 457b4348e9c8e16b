#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>

#include "json/JSONText.h"
#include "support/Files.h"

namespace zentara {

/// The value that `text` spells, of any kind.
inline JSONValue json(std::string_view text) {
    const auto parsed = parseJSON("[" + std::string(text) + "]");
    if (parsed.error()) throw std::runtime_error(parsed.error()->description());
    return parsed->array().at(0);
}

inline JSONObject jsonObject(std::string_view text) {
    return json(text).object();
}

inline JSONValue readDocument(const std::filesystem::path& path) {
    const auto parsed = parseJSON(test::contentsOf(path));
    if (parsed.error()) throw std::runtime_error("cannot read " + path.string());
    return *parsed;
}

inline JSONValue readTestData(const char* file) {
    return readDocument(std::filesystem::path(ZENTARA_SCHEMAS_TEST_DATA) / file);
}

inline std::string text(const JSONValue& value) {
    return std::string(value.string());
}

}  // namespace zentara
