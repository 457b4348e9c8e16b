#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "collector/http/HttpSettings.h"

namespace zentara::commandline {
class CommandLine;
}

namespace zentara::collector {

/// The settings of a collector that is a service for other machines.
struct ServiceSettings {
    bool isReachable = false;                            ///< from the network
    std::optional<int> pagePort;                         ///< of its own; 0 for a free one
    std::optional<std::pair<std::string, int>> metrics;  ///< host and port, only for metrics
    std::string certificate;                             ///< file; empty for the local authority's
    std::string key;                                     ///< its file
    std::optional<std::chrono::milliseconds> drain;      ///< for the open requests at the end
    std::optional<std::size_t> connectionsPerAddress;
    std::optional<double> requestsPerAddress;  ///< a second
    std::vector<std::string> trustedProxies;   ///< canonical addresses
    bool logsJSON = false;                     ///< instead of text

    /// The names under which the services answer.
    [[nodiscard]] HostNames names() const {
        return isReachable ? HostNames::any : HostNames::byAddress;
    }
};

/// The options for them. Lives as long as the command line, which fills in the settings.
class ServiceOptions {
  public:
    ServiceOptions(commandline::CommandLine& program, ServiceSettings& settings);
    ServiceOptions(const ServiceOptions&) = delete;
    ServiceOptions& operator=(const ServiceOptions&) = delete;

  private:
    // As the command line has them.
    std::string pagePort_;
    std::string metrics_;
    std::string drain_;
    std::string connections_;
    std::string requests_;
    std::vector<std::string> proxies_;
    std::string log_ = "text";
};

}  // namespace zentara::collector
