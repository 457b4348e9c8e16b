#include "collector/forward/kafka/KafkaSink.h"

#include <librdkafka/rdkafka.h>

#include <array>
#include <cstddef>
#include <fstream>
#include <stdexcept>

namespace zentara::collector {

namespace {

constexpr std::string_view scheme = "kafka://";
constexpr std::string_view badSuffix = ".bad";
constexpr std::size_t longestTopic = 249;  // of Kafka

/// A message that was produced, until it is answered.
struct Message {
    std::size_t* unanswered = nullptr;
    rd_kafka_resp_err_t error = RD_KAFKA_RESP_ERR_NO_ERROR;
};

void answerMessage(rd_kafka_t*, const rd_kafka_message_t* answer, void*) {
    auto& message = *static_cast<Message*>(answer->_private);
    message.error = answer->err;
    --*message.unanswered;
}

bool isRefusal(rd_kafka_resp_err_t error) {
    return error == RD_KAFKA_RESP_ERR_MSG_SIZE_TOO_LARGE ||
           error == RD_KAFKA_RESP_ERR_INVALID_RECORD;
}

Handover handoverAfter(rd_kafka_resp_err_t error) {
    if (error == RD_KAFKA_RESP_ERR_NO_ERROR) return {Handover::Outcome::delivered};
    return {isRefusal(error) ? Handover::Outcome::refused : Handover::Outcome::failed,
            rd_kafka_err2str(error)};
}

bool isTopicCharacter(char c) {
    return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || ('0' <= c && c <= '9') || c == '.' ||
           c == '_' || c == '-';
}

bool isTopic(std::string_view text) {
    if (text.empty() || text.size() > longestTopic - badSuffix.size()) return false;
    for (const char c : text) {
        if (!isTopicCharacter(c)) return false;
    }
    return true;
}

std::string_view trimmed(std::string_view text) {
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

using Configuration = std::unique_ptr<rd_kafka_conf_t, decltype(&rd_kafka_conf_destroy)>;

void set(rd_kafka_conf_t* configuration, const std::string& name, const std::string& value) {
    std::array<char, 256> reason{};
    const auto result =
        rd_kafka_conf_set(configuration, name.c_str(), value.c_str(), reason.data(), reason.size());
    // The library's own text may hold the value.
    if (result == RD_KAFKA_CONF_UNKNOWN)
        throw std::runtime_error("librdkafka has no property " + name);
    if (result == RD_KAFKA_CONF_INVALID)
        throw std::runtime_error("librdkafka refuses the value of " + name);
}

}  // namespace

/// One librdkafka producer, from its making to an error that it does not survive.
class KafkaSink::Producer {
  public:
    explicit Producer(const KafkaSink& sink)
        : topic_(sink.address_.topic), bad_(topic_ + std::string(badSuffix)) {
        Configuration configuration(rd_kafka_conf_new(), rd_kafka_conf_destroy);
        rd_kafka_conf_t* const raw = configuration.get();
        rd_kafka_conf_set_opaque(raw, const_cast<KafkaSink*>(&sink));
        rd_kafka_conf_set_dr_msg_cb(raw, answerMessage);
        rd_kafka_conf_set_error_cb(raw, [](rd_kafka_t*, int, const char* reason, void* opaque) {
            static_cast<const KafkaSink*>(opaque)->complain(reason);
        });
        // Errors have their own callback.
        rd_kafka_conf_set_log_cb(raw, [](const rd_kafka_t*, int, const char*, const char*) {});
        set(raw, "client.id", "zentara-collector");
        set(raw, "enable.idempotence", "true");
        set(raw, "acks", "all");
        set(raw, "compression.codec", "lz4");
        // Clients of other languages find the partition of a key in the same way.
        set(raw, "partitioner", "murmur2_random");
        // An outage ends when it ends: what is under way stays so.
        set(raw, "message.timeout.ms", "0");
        set(raw, "linger.ms", "5");
        for (const auto& [name, value] : sink.properties_)
            set(raw, name, value);
        set(raw, "bootstrap.servers", sink.address_.brokers);

        std::array<char, 512> reason{};
        handle_.reset(rd_kafka_new(RD_KAFKA_PRODUCER, raw, reason.data(), reason.size()));
        if (!handle_) throw std::runtime_error(std::string("Kafka: ") + reason.data());
        (void)configuration.release();  // the producer has it now
    }

    /// Returns when all messages are answered. Those that are given up may have arrived.
    void send(std::span<const ForwardedEvent> events, std::vector<Message>& messages,
              const std::atomic<bool>& hasStopped) {
        for (std::size_t i = 0; i < events.size(); ++i) {
            while (!produce(events[i], messages[i])) {
                if (hasStopped) giveUp();
                poll();
            }
        }
        while (*messages.front().unanswered > 0) {
            if (hasStopped) giveUp();
            poll();
        }
    }

    [[nodiscard]] bool hasFailed() const {
        std::array<char, 1> reason{};
        return rd_kafka_fatal_error(handle_.get(), reason.data(), reason.size()) !=
               RD_KAFKA_RESP_ERR_NO_ERROR;
    }

  private:
    /// False if the queue of the producer is full.
    [[nodiscard]] bool produce(const ForwardedEvent& event, Message& message) {
        const std::string arrival = std::to_string(event.receivedAt);
        std::array<rd_kafka_vu_t, 9> parts{};
        std::size_t count = 0;
        const auto part = [&](rd_kafka_vtype_t type) -> decltype(rd_kafka_vu_t::u)& {
            parts.at(count).vtype = type;
            return parts.at(count++).u;
        };
        const auto header = [&](const char* name, std::string_view value) {
            part(RD_KAFKA_VTYPE_HEADER).header = {name, value.data(),
                                                  static_cast<ssize_t>(value.size())};
        };
        part(RD_KAFKA_VTYPE_TOPIC).cstr = (event.good ? topic_ : bad_).c_str();
        part(RD_KAFKA_VTYPE_KEY).mem = borrowed(event.client);
        // Without the flag to copy it, the value must stay until the answer.
        part(RD_KAFKA_VTYPE_VALUE).mem = borrowed(event.record);
        part(RD_KAFKA_VTYPE_TIMESTAMP).i64 = event.receivedAt;
        part(RD_KAFKA_VTYPE_OPAQUE).ptr = &message;
        header("actionUUID", event.actionUUID);
        header("schema", event.schema);
        header("tenant", event.tenant);
        header("receivedAt", arrival);
        const std::unique_ptr<rd_kafka_error_t, decltype(&rd_kafka_error_destroy)> error(
            rd_kafka_produceva(handle_.get(), parts.data(), count), rd_kafka_error_destroy);
        if (!error) return true;
        message.error = rd_kafka_error_code(error.get());
        if (message.error == RD_KAFKA_RESP_ERR__QUEUE_FULL) return false;
        --*message.unanswered;
        return true;
    }

    void poll() { rd_kafka_poll(handle_.get(), 100); }

    void giveUp() {
        (void)rd_kafka_purge(handle_.get(), RD_KAFKA_PURGE_F_QUEUE | RD_KAFKA_PURGE_F_INFLIGHT);
    }

    static decltype(rd_kafka_vu_t::u.mem) borrowed(std::string_view text) {
        // The library's interface has no const; it only reads.
        return {const_cast<char*>(text.data()), text.size()};
    }

    const std::string topic_;
    const std::string bad_;
    std::unique_ptr<rd_kafka_t, decltype(&rd_kafka_destroy)> handle_{nullptr, rd_kafka_destroy};
};

KafkaSink::Address KafkaSink::readAddress(std::string_view url) {
    if (url.starts_with(scheme)) {
        const std::string_view rest = url.substr(scheme.size());
        const auto slash = rest.find('/');
        if (slash != std::string_view::npos && slash > 0 && isTopic(rest.substr(slash + 1)))
            return {std::string(rest.substr(0, slash)), std::string(rest.substr(slash + 1))};
    }
    throw std::runtime_error(
        "kafka://BROKER,BROKER/TOPIC is expected, with a topic of at most 245 letters, digits and "
        "the characters . _ -");
}

KafkaSink::Properties KafkaSink::readProperties(const std::string& file) {
    std::ifstream stream(file);
    if (!stream) throw std::runtime_error(file + " cannot be read");
    Properties properties;
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        const std::string_view text = trimmed(line);
        if (text.empty() || text.starts_with('#')) continue;
        const auto equals = text.find('=');
        if (equals == std::string_view::npos) {
            throw std::runtime_error(file + ": line " + std::to_string(number) +
                                     " is not NAME=VALUE");
        }
        properties.emplace_back(trimmed(text.substr(0, equals)), trimmed(text.substr(equals + 1)));
    }
    return properties;
}

KafkaSink::KafkaSink(Settings settings)
    : settings_(std::move(settings)),
      address_(readAddress(settings_.url)),
      properties_(settings_.file.empty() ? Properties() : readProperties(settings_.file)),
      producer_(std::make_unique<Producer>(*this)) {}

KafkaSink::~KafkaSink() = default;

std::vector<Handover> KafkaSink::deliver(std::span<const ForwardedEvent> events) {
    if (producer_->hasFailed()) producer_ = std::make_unique<Producer>(*this);
    std::vector<Handover> handovers(events.size());
    const auto send = [&](std::size_t first, std::size_t count) {
        std::size_t unanswered = count;
        std::vector<Message> messages(count, Message{&unanswered});
        producer_->send(events.subspan(first, count), messages, hasStopped_);
        for (std::size_t i = 0; i < count; ++i)
            handovers[first + i] = handoverAfter(messages[i].error);
    };
    send(0, events.size());
    // A broker refuses all messages of a request for the size of one.
    for (std::size_t i = 0; i < events.size(); ++i) {
        if (handovers[i].outcome == Handover::Outcome::refused) send(i, 1);
    }
    return handovers;
}

void KafkaSink::complain(const std::string& text) const {
    settings_.complain("Kafka: " + text);
}

}  // namespace zentara::collector
