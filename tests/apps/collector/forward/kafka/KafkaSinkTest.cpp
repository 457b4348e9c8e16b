#include "collector/forward/kafka/KafkaSink.h"

#include <gmock/gmock.h>

#include <future>

#include "apps/collector/forward/kafka/KafkaCluster.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

using test::KafkaCluster;
using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::ThrowsMessage;
using testing::UnorderedElementsAre;
using enum Handover::Outcome;

ForwardedEvent event(std::string_view client, std::string_view uuid,
                     std::string_view record = "{}") {
    ForwardedEvent result;
    result.client = client;
    result.actionUUID = uuid;
    result.schema = "page-view-1";
    result.tenant = "shop";
    result.receivedAt = 1'700'000'000'123;
    result.record = record;
    return result;
}

class KafkaSinkTest : public testing::Test {
  protected:
    KafkaSink makeSink(const std::string& settings = {}) {
        return KafkaSink({cluster.url("events"), settings, [this](const std::string& text) {
                              complaints.put(text);
                          }});
    }
    std::string written(const std::string& text) {
        const auto file = folder.path() / "kafka.properties";
        test::writeTo(file, text);
        return file.string();
    }

    const test::TemporaryDirectory folder;
    test::Mailbox<std::string> complaints;
    KafkaCluster cluster{{"events", "events.bad"}};
};

std::vector<std::string> valuesOf(const std::vector<KafkaCluster::Message>& messages,
                                  const std::string& key) {
    std::vector<std::string> values;
    for (const auto& message : messages) {
        if (message.key == key) values.push_back(message.value);
    }
    return values;
}

const auto isDelivered = Field(&Handover::outcome, delivered);

TEST_F(KafkaSinkTest, MessageHasKeyHeadersAndRecord) {
    auto sink = makeSink();
    auto bad = event("client-1", "u2", R"({"n":2})");
    bad.good = false;
    EXPECT_THAT(sink.deliver(std::vector{event("client-1", "u1", R"({"n":1})"), bad}),
                ElementsAre(isDelivered, isDelivered));
    const auto good = cluster.read("events", 1);
    ASSERT_EQ(good.size(), 1U);
    EXPECT_EQ(good[0].key, "client-1");
    EXPECT_EQ(good[0].value, R"({"n":1})");
    EXPECT_EQ(good[0].timestamp, 1'700'000'000'123);
    EXPECT_EQ(good[0].headers,
              (std::map<std::string, std::string>{{"actionUUID", "u1"},
                                                  {"schema", "page-view-1"},
                                                  {"tenant", "shop"},
                                                  {"receivedAt", "1700000000123"}}));
    EXPECT_THAT(valuesOf(cluster.read("events.bad", 1), "client-1"), ElementsAre(R"({"n":2})"));
}

TEST_F(KafkaSinkTest, ErrorsOfBrokersDoNotChangeTheOrder) {
    auto sink = makeSink();
    cluster.failProducing({RD_KAFKA_RESP_ERR_NOT_LEADER_FOR_PARTITION,
                           RD_KAFKA_RESP_ERR_REQUEST_TIMED_OUT,
                           RD_KAFKA_RESP_ERR_NOT_ENOUGH_REPLICAS});
    std::vector<std::string> records;
    for (int i = 0; i < 300; ++i)
        records.push_back(std::to_string(i));
    std::vector<ForwardedEvent> events;
    std::map<std::string, std::vector<std::string>> expected;
    for (std::size_t i = 0; i < records.size(); ++i) {
        const char* const client = i % 2 == 0 ? "even" : "odd";
        events.push_back(event(client, records[i], records[i]));
        expected[client].push_back(records[i]);
    }
    EXPECT_THAT(sink.deliver(events), Each(isDelivered));
    const auto messages = cluster.read("events", records.size());
    for (const auto& [client, values] : expected)
        EXPECT_EQ(valuesOf(messages, client), values);
}

TEST_F(KafkaSinkTest, OnlyTheTooLargeMessageIsRefused) {
    auto sink = makeSink(written("message.max.bytes=2000\n"));
    const std::string large(3000, 'x');
    const auto local = sink.deliver(
        std::vector{event("c", "u1", "1"), event("c", "u2", large), event("c", "u3", "3")});
    EXPECT_THAT(local, ElementsAre(isDelivered, Field(&Handover::outcome, refused), isDelivered));
    EXPECT_THAT(local[1].reason, HasSubstr("too large"));
    // A broker names no message of the request.
    cluster.failProducing({RD_KAFKA_RESP_ERR_MSG_SIZE_TOO_LARGE});
    EXPECT_THAT(sink.deliver(std::vector{event("c", "u4", "4"), event("c", "u5", "5")}),
                Each(isDelivered));
    EXPECT_THAT(valuesOf(cluster.read("events", 4), "c"), UnorderedElementsAre("1", "3", "4", "5"));
}

TEST_F(KafkaSinkTest, DeliveryOutlastsAnOutage) {
    auto sink = makeSink();
    cluster.setUp(false);
    auto delivery = std::async(std::launch::async,
                               [&] { return sink.deliver(std::vector{event("c", "u1", "1")}); });
    ASSERT_THAT(complaints.waitFor().value_or(""), HasSubstr("Kafka: "));
    cluster.setUp(true);
    EXPECT_THAT(delivery.get(), ElementsAre(isDelivered));
}

TEST_F(KafkaSinkTest, StopEndsADeliveryWithoutABroker) {
    auto sink = makeSink();
    cluster.setUp(false);
    auto delivery = std::async(std::launch::async,
                               [&] { return sink.deliver(std::vector{event("c", "u1", "1")}); });
    ASSERT_TRUE(complaints.waitFor().has_value());
    sink.stop();
    EXPECT_THAT(delivery.get(), ElementsAre(Field(&Handover::outcome, failed)));
}

TEST_F(KafkaSinkTest, SettingsAreRefusedWithoutTheirValues) {
    const struct {
        const char* text;
        const char* reason;
    } cases[] = {
        {"# a comment\n\nsasl.pasword = geheim\n", "no property sasl.pasword"},
        {"acks=geheim", "refuses the value of acks"},
        {"client.id=a\ngeheim", "line 2 is not NAME=VALUE"},
    };
    for (const auto& each : cases) {
        EXPECT_THAT([&] { makeSink(written(each.text)); },
                    ThrowsMessage<std::runtime_error>(
                        AllOf(HasSubstr(each.reason), Not(HasSubstr("geheim")))))
            << each.text;
    }
    for (const char* url : {"kafka://broker", "kafka:///topic", "kafka://broker/", "http://b/t",
                            "kafka://broker/a b"})
        EXPECT_THROW((void)KafkaSink::readAddress(url), std::runtime_error) << url;
    const auto address = KafkaSink::readAddress("kafka://one:1,two:2/events.v1");
    EXPECT_EQ(address.brokers, "one:1,two:2");
    EXPECT_EQ(address.topic, "events.v1");
}

}  // namespace
}  // namespace zentara::collector
