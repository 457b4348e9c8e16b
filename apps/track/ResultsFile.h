#pragma once

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <string>

#include "track/Outcome.h"

namespace zentara::track {

/// One JSON line for each line of input:
/// {"line":1,"schema":"page-view-1","outcome":"accepted","message":""}
class ResultsFile {
  public:
    /// Replaces the file. Throws `std::runtime_error` if it cannot be opened.
    explicit ResultsFile(std::filesystem::path file);

    /// `schema` is empty for a line that is not an event and is then written as null.
    void add(std::size_t line, const std::string& schema, const Result& result);

    /// Throws `std::runtime_error` if not everything could be written.
    void close();

  private:
    std::filesystem::path file_;
    std::ofstream stream_;
};

}  // namespace zentara::track
