#pragma once

#include <filesystem>
#include <initializer_list>
#include <string>
#include <utility>

#include "support/Files.h"
#include "support/TemporaryDirectory.h"

namespace zentara::collector {

/// A folder with schemas from the start: a catalogue looks at it when it is made, and then not
/// again for a moment.
class SchemaFolder {
  public:
    SchemaFolder(std::initializer_list<std::pair<std::string, std::string>> schemas) {
        for (const auto& [key, text] : schemas)
            test::writeTo(directory_.path() / (key + ".json"), text);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return directory_.path(); }

  private:
    test::TemporaryDirectory directory_;
};

}  // namespace zentara::collector
