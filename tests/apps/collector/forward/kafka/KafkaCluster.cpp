#include "apps/collector/forward/kafka/KafkaCluster.h"

#include <array>
#include <chrono>
#include <set>
#include <stdexcept>

#include "support/WaitFor.h"

namespace zentara::test {

namespace {

constexpr int brokerCount = 3;
constexpr int partitions = 4;
constexpr std::int16_t produceRequest = 0;

std::unique_ptr<rd_kafka_t, decltype(&rd_kafka_destroy)> makeClient(
    rd_kafka_type_t type, const std::map<std::string, std::string>& properties) {
    rd_kafka_conf_t* const configuration = rd_kafka_conf_new();
    for (const auto& [name, value] : properties)
        rd_kafka_conf_set(configuration, name.c_str(), value.c_str(), nullptr, 0);
    rd_kafka_conf_set_log_cb(configuration,
                             [](const rd_kafka_t*, int, const char*, const char*) {});
    std::array<char, 256> reason{};
    rd_kafka_t* const client = rd_kafka_new(type, configuration, reason.data(), reason.size());
    if (client == nullptr) throw std::runtime_error(reason.data());
    return {client, rd_kafka_destroy};
}

std::map<std::string, std::string> headersOf(const rd_kafka_message_t& message) {
    std::map<std::string, std::string> result;
    rd_kafka_headers_t* headers = nullptr;
    rd_kafka_message_headers(&message, &headers);
    const char* name = nullptr;
    const void* value = nullptr;
    std::size_t size = 0;
    for (std::size_t i = 0;
         headers != nullptr && rd_kafka_header_get_all(headers, i, &name, &value, &size) == 0; ++i)
        result.emplace(name, std::string(static_cast<const char*>(value), size));
    return result;
}

}  // namespace

KafkaCluster::KafkaCluster(const std::vector<std::string>& topics)
    : handle_(makeClient(RD_KAFKA_PRODUCER, {})),
      cluster_(rd_kafka_mock_cluster_new(handle_.get(), brokerCount)) {
    for (const auto& topic : topics)
        rd_kafka_mock_topic_create(cluster_, topic.c_str(), partitions, brokerCount);
}

KafkaCluster::~KafkaCluster() {
    rd_kafka_mock_cluster_destroy(cluster_);
}

std::string KafkaCluster::brokers() const {
    return rd_kafka_mock_cluster_bootstraps(cluster_);
}

void KafkaCluster::failProducing(const std::vector<rd_kafka_resp_err_t>& errors) {
    rd_kafka_mock_push_request_errors_array(cluster_, produceRequest, errors.size(), errors.data());
}

void KafkaCluster::setUp(bool isUp) {
    for (int broker = 1; broker <= brokerCount; ++broker)
        (isUp ? rd_kafka_mock_broker_set_up : rd_kafka_mock_broker_set_down)(cluster_, broker);
}

std::int64_t KafkaCluster::count(const std::string& topic) const {
    const auto client = makeClient(RD_KAFKA_CONSUMER, {{"bootstrap.servers", brokers()}});
    std::int64_t sum = 0;
    for (int partition = 0; partition < partitions; ++partition) {
        std::int64_t first = 0;
        std::int64_t next = 0;
        if (rd_kafka_query_watermark_offsets(client.get(), topic.c_str(), partition, &first, &next,
                                             5000) != RD_KAFKA_RESP_ERR_NO_ERROR)
            throw std::runtime_error("the brokers do not say what they have");
        sum += next;
    }
    return sum;
}

std::vector<KafkaCluster::Message> KafkaCluster::read(const std::string& topic,
                                                      std::size_t count) const {
    const auto client =
        makeClient(RD_KAFKA_CONSUMER, {{"bootstrap.servers", brokers()}, {"group.id", "test"}});
    rd_kafka_topic_partition_list_t* const all = rd_kafka_topic_partition_list_new(partitions);
    for (int partition = 0; partition < partitions; ++partition) {
        rd_kafka_topic_partition_list_add(all, topic.c_str(), partition)->offset =
            RD_KAFKA_OFFSET_BEGINNING;
    }
    rd_kafka_assign(client.get(), all);
    rd_kafka_topic_partition_list_destroy(all);

    std::vector<Message> messages;
    std::set<std::string> uuids;
    const auto end = std::chrono::steady_clock::now() + generousTimeout;
    while (uuids.size() < count && std::chrono::steady_clock::now() < end) {
        const std::unique_ptr<rd_kafka_message_t, decltype(&rd_kafka_message_destroy)> message(
            rd_kafka_consumer_poll(client.get(), 100), rd_kafka_message_destroy);
        if (message == nullptr || message->err != RD_KAFKA_RESP_ERR_NO_ERROR) continue;
        messages.push_back(
            {.partition = message->partition,
             .key = std::string(static_cast<const char*>(message->key), message->key_len),
             .value = std::string(static_cast<const char*>(message->payload), message->len),
             .timestamp = rd_kafka_message_timestamp(message.get(), nullptr),
             .headers = headersOf(*message)});
        uuids.insert(messages.back().headers.at("actionUUID"));
    }
    rd_kafka_consumer_close(client.get());
    return messages;
}

}  // namespace zentara::test
