#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zentara::bench {

/// Where the events of a collector end, started for one benchmark.
class Downstream {
  public:
    Downstream() = default;
    virtual ~Downstream() = default;
    Downstream(const Downstream&) = delete;
    Downstream& operator=(const Downstream&) = delete;

    /// For a collector that has `folder` for itself.
    [[nodiscard]] virtual std::vector<std::string> options(const std::filesystem::path& folder) = 0;

    /// The events that have arrived, counted there. The collector runs at `url`.
    [[nodiscard]] virtual long count(const std::string& url) = 0;
};

[[nodiscard]] std::unique_ptr<Downstream> memoryOnly();
[[nodiscard]] std::unique_ptr<Downstream> databaseOnDisk();
[[nodiscard]] std::unique_ptr<Downstream> kafkaBrokers();
[[nodiscard]] std::unique_ptr<Downstream> kafkaBrokersFlushed();
[[nodiscard]] std::unique_ptr<Downstream> postgreSQLServer();

}  // namespace zentara::bench
