#include "support/CollectorProcess.h"

#include <stdexcept>

namespace zentara::test {

CollectorProcess::CollectorProcess(const std::filesystem::path& schemas,
                                   std::vector<std::string> options)
    : process_([&] {
          options.insert(options.begin(), {ZENTARA_COLLECTOR, "--port", "0", "--quiet", "--schemas",
                                           schemas.string()});
          return options;
      }()),
      url_(announced("listening http:")) {}

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
