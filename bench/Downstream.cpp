#include "Downstream.h"

#include <zentara/CollectorClient.h>

#include <cstdint>

#include "apps/collector/forward/kafka/KafkaCluster.h"
#include "collector/data/Database.h"
#include "collector/forward/postgresql/PostgreSQLConnection.h"
#include "support/PostgreSQLServer.h"

namespace zentara::bench {

namespace {

using Options = std::vector<std::string>;

class Memory final : public Downstream {
  public:
    [[nodiscard]] Options options(const std::filesystem::path&) override { return {}; }
    [[nodiscard]] long count(const std::string& url) override {
        return static_cast<long>(collector::CollectorClient(url).summary().good);
    }
};

class DatabaseFile final : public Downstream {
  public:
    [[nodiscard]] Options options(const std::filesystem::path& folder) override {
        file_ = folder / "events.sqlite";
        return {"--database", file_};
    }
    [[nodiscard]] long count(const std::string&) override {
        collector::Database database(file_);
        return database.number("SELECT count(*) FROM events");
    }

  private:
    std::filesystem::path file_;
};

class Kafka final : public Downstream {
  public:
    explicit Kafka(bool flushes) : flushes_(flushes) {}

    [[nodiscard]] Options options(const std::filesystem::path& folder) override {
        Options all{"--forward", cluster_.url("events"), "--outbox", folder / "outbox"};
        if (flushes_) all.emplace_back("--flush-before-answer");
        return all;
    }
    [[nodiscard]] long count(const std::string&) override { return cluster_.count("events"); }

  private:
    const bool flushes_;
    test::KafkaCluster cluster_{{"events", "events.bad"}};
};

class PostgreSQL final : public Downstream {
  public:
    [[nodiscard]] Options options(const std::filesystem::path& folder) override {
        return {"--forward", server_.url(), "--outbox", folder / "outbox"};
    }
    [[nodiscard]] long count(const std::string&) override {
        collector::PostgreSQLConnection connection(server_.url(), never_);
        const auto rows = connection.run("SELECT count(*) FROM zentara.events");
        return std::stol(std::string(rows.text(0, 0)));
    }

  private:
    const test::PostgreSQLServer server_;
    const collector::StopSignal never_;
};

}  // namespace

std::unique_ptr<Downstream> memoryOnly() {
    return std::make_unique<Memory>();
}
std::unique_ptr<Downstream> databaseOnDisk() {
    return std::make_unique<DatabaseFile>();
}
std::unique_ptr<Downstream> kafkaBrokers() {
    return std::make_unique<Kafka>(false);
}
std::unique_ptr<Downstream> kafkaBrokersFlushed() {
    return std::make_unique<Kafka>(true);
}
std::unique_ptr<Downstream> postgreSQLServer() {
    return std::make_unique<PostgreSQL>();
}

}  // namespace zentara::bench
