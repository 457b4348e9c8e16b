#pragma once

#include <librdkafka/rdkafka.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara::bench {

/// A producer with the settings and the messages of the collector's, for the topic "alone".
class PlainProducer {
  public:
    explicit PlainProducer(const std::string& brokers) : handle_(nullptr, rd_kafka_destroy) {
        rd_kafka_conf_t* const configuration = rd_kafka_conf_new();
        for (const auto& [name, value] :
             std::vector<std::pair<std::string, std::string>>{{"bootstrap.servers", brokers},
                                                              {"enable.idempotence", "true"},
                                                              {"acks", "all"},
                                                              {"compression.codec", "lz4"},
                                                              {"partitioner", "murmur2_random"},
                                                              {"linger.ms", "5"}})
            rd_kafka_conf_set(configuration, name.c_str(), value.c_str(), nullptr, 0);
        rd_kafka_conf_set_dr_msg_cb(configuration,
                                    [](rd_kafka_t*, const rd_kafka_message_t*, void*) {});
        handle_.reset(rd_kafka_new(RD_KAFKA_PRODUCER, configuration, nullptr, 0));
    }

    void produce(std::string_view key, std::string_view schema, std::string_view uuid,
                 std::string_view value) {
        const auto header = [](const char* name, std::string_view text) {
            return rd_kafka_vu_t{
                .vtype = RD_KAFKA_VTYPE_HEADER,
                .u = {.header = {name, text.data(), static_cast<ssize_t>(text.size())}}};
        };
        const auto bytes = [](std::string_view text) {
            return decltype(rd_kafka_vu_t::u.mem){const_cast<char*>(text.data()), text.size()};
        };
        const std::array parts{
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_TOPIC, .u = {.cstr = "alone"}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_KEY, .u = {.mem = bytes(key)}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_VALUE, .u = {.mem = bytes(value)}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_MSGFLAGS, .u = {.i = RD_KAFKA_MSG_F_COPY}},
            rd_kafka_vu_t{.vtype = RD_KAFKA_VTYPE_TIMESTAMP, .u = {.i64 = 1'700'000'000'123}},
            header("actionUUID", uuid),
            header("schema", schema),
            header("tenant", "shop"),
            header("receivedAt", "1700000000123")};
        if (rd_kafka_produceva(handle_.get(), parts.data(), parts.size()) != nullptr)
            throw std::runtime_error("the producer is full");
    }

    void flush() {
        if (rd_kafka_flush(handle_.get(), 60'000) != RD_KAFKA_RESP_ERR_NO_ERROR)
            throw std::runtime_error("messages are left");
    }

  private:
    std::unique_ptr<rd_kafka_t, decltype(&rd_kafka_destroy)> handle_;
};

}  // namespace zentara::bench
