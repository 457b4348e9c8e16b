#pragma once

#include <signal.h>
#include <zentara/CollectorClient.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/ChildProcess.h"

namespace zentara::test {

/// The real collector, in a process of its own at a free port. Killed at the end of its scope if it
/// still runs.
class CollectorProcess {
  public:
    /// `options` go to the program beside those for the port and the schemas.
    explicit CollectorProcess(const std::filesystem::path& schemas,
                              std::vector<std::string> options = {"--no-https"});

    [[nodiscard]] const std::string& url() const { return url_; }
    [[nodiscard]] collector::CollectorClient client() const {
        return collector::CollectorClient(url_);
    }

    [[nodiscard]] pid_t id() const { return process_.id(); }

    /// The rest of the next line of its output, which must begin with `beginning`.
    std::string announced(const std::string& beginning);

    /// Ends it; what `ChildProcess::wait` returns.
    int stop(int signal = SIGTERM);

  private:
    ChildProcess process_;
    std::string url_;
};

}  // namespace zentara::test
