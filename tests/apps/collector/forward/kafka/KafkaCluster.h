#pragma once

#include <librdkafka/rdkafka.h>
#include <librdkafka/rdkafka_mock.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zentara::test {

/// Three brokers of librdkafka's own on free ports of loopback, which fail as they are told. Topics
/// have four partitions.
class KafkaCluster {
  public:
    struct Message {
        std::int32_t partition = 0;
        std::string key;
        std::string value;
        std::int64_t timestamp = 0;
        std::map<std::string, std::string> headers;
    };

    explicit KafkaCluster(const std::vector<std::string>& topics);
    ~KafkaCluster();
    KafkaCluster(const KafkaCluster&) = delete;
    KafkaCluster& operator=(const KafkaCluster&) = delete;

    [[nodiscard]] std::string brokers() const;
    [[nodiscard]] std::string url(const std::string& topic) const {
        return "kafka://" + brokers() + "/" + topic;
    }

    /// The next requests with messages fail with these errors.
    void failProducing(const std::vector<rd_kafka_resp_err_t>& errors);
    void setUp(bool isUp);

    /// How many messages a topic was sent. The brokers forget old ones, but not their number.
    [[nodiscard]] std::int64_t count(const std::string& topic) const;

    /// The messages of a topic; waits until they have `count` action UUIDs.
    [[nodiscard]] std::vector<Message> read(const std::string& topic, std::size_t count) const;

  private:
    using Handle = std::unique_ptr<rd_kafka_t, decltype(&rd_kafka_destroy)>;

    Handle handle_;
    rd_kafka_mock_cluster_t* const cluster_;
};

}  // namespace zentara::test
