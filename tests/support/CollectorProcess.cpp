#include "support/CollectorProcess.h"

#include <stdexcept>

namespace zentara::test {

namespace {

std::vector<std::string> command(const std::filesystem::path& schemas,
                                 const std::vector<std::string>& options) {
    std::vector<std::string> words{ZENTARA_COLLECTOR, "--port",    "0",
                                   "--quiet",         "--schemas", schemas.string()};
    words.insert(words.end(), options.begin(), options.end());
    return words;
}

}  // namespace

CollectorProcess::CollectorProcess(const std::filesystem::path& schemas,
                                   const std::vector<std::string>& options)
    : process_(command(schemas, options)), url_(announced("listening http:")) {}

std::string CollectorProcess::announced(const std::string& beginning) {
    const auto line = process_.readLine().value_or("");
    if (!line.starts_with(beginning)) throw std::runtime_error("the collector said: " + line);
    return line.substr(line.find(' ') + 1);
}

int CollectorProcess::stop(int signal) {
    process_.signal(signal);
    return process_.wait();
}

}  // namespace zentara::test
