#include "track/ResultsFile.h"

#include <zentara/JSONValue.h>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace zentara::track {

ResultsFile::ResultsFile(std::filesystem::path file)
    : file_(std::move(file)), stream_(file_, std::ios::binary | std::ios::trunc) {
    if (!stream_.is_open()) throw std::runtime_error(file_.string() + " cannot be opened");
}

void ResultsFile::add(std::size_t line, const std::string& schema, const Result& result) {
    const std::string_view outcome = outcomeName(result.outcome);
    const JSONObject record{{"line", line},
                            {"schema", schema.empty() ? JSONValue() : JSONValue(schema)},
                            {"outcome", outcome},
                            {"message", result.message}};
    // Flushed, so that the file of an interrupted run has every line that was sent.
    stream_ << JSONValue(record).text() << std::endl;
}

void ResultsFile::close() {
    stream_.close();
    if (stream_.fail()) throw std::runtime_error(file_.string() + " could not be written");
}

}  // namespace zentara::track
