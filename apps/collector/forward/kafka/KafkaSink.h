#pragma once

#include <atomic>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/forward/Sink.h"

struct rd_kafka_s;

namespace zentara::collector {

/// Hands events on to Kafka: good ones to a topic, bad ones to the topic of that name with ".bad".
/// The key of a message is the client's UUID, so that its events keep their order; headers hold the
/// action UUID, the schema, the tenant and the time of arrival; the value is the event's record.
///
/// The producer is idempotent and waits for all replicas. A message that a broker refuses together
/// with others, for their size, is sent again alone, so that it is refused for its own size only.
class KafkaSink final : public Sink {
  public:
    struct Address {
        std::string brokers;  ///< "host:port" or "host", separated by commas
        std::string topic;
    };
    using Properties = std::vector<std::pair<std::string, std::string>>;

    /// Reads "kafka://broker,broker/topic". Throws `std::runtime_error`.
    [[nodiscard]] static Address readAddress(std::string_view url);

    /// Reads lines "name=value"; empty lines and lines that begin with "#" are ignored. Throws
    /// `std::runtime_error`, whose text has no values.
    [[nodiscard]] static Properties readProperties(const std::string& file);

    /// `settings.file` holds properties of librdkafka, which overrule the defaults of this sink.
    explicit KafkaSink(Settings settings);
    ~KafkaSink() override;
    KafkaSink(const KafkaSink&) = delete;
    KafkaSink& operator=(const KafkaSink&) = delete;

    [[nodiscard]] std::vector<Handover> deliver(std::span<const ForwardedEvent> events) override;
    void stop() override { hasStopped_ = true; }

  private:
    class Producer;

    void complain(const std::string& text) const;

    const Settings settings_;
    const Address address_;
    const Properties properties_;
    std::atomic<bool> hasStopped_ = false;
    std::unique_ptr<Producer> producer_;  // made anew after an error that ends it
};

}  // namespace zentara::collector
