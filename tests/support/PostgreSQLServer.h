#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "collector/http/Certificate.h"
#include "support/ChildProcess.h"
#include "support/Files.h"

namespace zentara::test {

/// A real PostgreSQL server at a free port of this machine, with a new cluster in a folder of its
/// own and without any flush. Root runs it as another user. One thread, with
/// whose end the server ends.
class PostgreSQLServer {
  public:
    /// With TLS, too, if there is a certificate.
    explicit PostgreSQLServer(const collector::Certificate* certificate = nullptr);

    /// Of its superuser, without a password.
    [[nodiscard]] const std::string& url() const { return url_; }

    /// Ends it with SIGKILL. Its data stay.
    void kill();
    /// Returns when it takes connections.
    void start();

  private:
    [[nodiscard]] std::vector<std::string> command(const std::string& program,
                                                   std::vector<std::string> arguments) const;
    [[nodiscard]] bool isRunning() const;
    void own(const std::filesystem::path& path) const;

    const TemporaryDirectory folder_;
    const std::string port_;
    const std::string url_;
    const bool hasTLS_;
    std::optional<ChildProcess> process_;
};

}  // namespace zentara::test
