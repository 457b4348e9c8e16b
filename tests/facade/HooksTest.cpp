#include <zentara/ZentaraClient.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <stdexcept>

#include "dispatch/storage/FileStorage.h"
#include "facade/HostFunctions.h"
#include "facade/ZentaraClientBuilder.h"
#include "identity/ZentaraIDManager.h"
#include "model/EventDecoder.h"
#include "support/ClientCalls.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/Services.h"
#include "support/TestHost.h"
#include "support/threads/Ticker.h"

namespace zentara {
namespace {

using namespace test;
using testing::ElementsAre;

struct Outcome {
    EventRef event;
    ZentaraClientErrorRef error;

    [[nodiscard]] std::string message() const { return error ? error->what() : "queued"; }
};

JSONValue nested(int depth) {
    JSONValue value = JSONArray();
    for (int i = 0; i < depth; ++i)
        value = JSONArray{std::move(value)};
    return value;
}

class HooksTest : public testing::Test {
  protected:
    HooksTest() {
        resetClient();
        TestHost::useServer(services_.url());
        // Without an identity nothing is dispatched.
        services_.idStatus = 500;
        client_ = getClient();
    }
    ~HooksTest() override {
        HostFunctions::forgetAll();
        resetClient();
        expectBalanced(ZentaraClient::statistics());
    }

    Outcome send(const std::string& schema, JSONObject properties) {
        std::vector<Outcome> outcomes;
        client_->send({.schemaId = schema,
                       .schemaVersion = "1",
                       .properties = std::move(properties),
                       .url = "https://example.com/a",
                       .referer = "https://from.example",
                       .contentType = "text/plain",
                       .relationId = "relation"},
                      [&](EventRef event, ZentaraClientErrorRef error) {
                          outcomes.push_back({std::move(event), std::move(error)});
                      });
        EXPECT_EQ(outcomes.size(), 1U);
        return outcomes.at(0);
    }

    [[nodiscard]] std::vector<InternalEvent> eventsIn(const std::string& file) const {
        return decodeEvents(contentsOf(host_.file(file))).events;
    }
    [[nodiscard]] InternalEvent lastQueued() const { return eventsIn("events-storage").back(); }

    TestHost host_;
    Services services_;
    std::shared_ptr<ZentaraClient> client_;
};

// An argument that exists only in a template may be ill-formed.
template <typename Text>
constexpr bool takesVersionOnly = requires(Text text) {
    EventDraft{.schemaVersion = text};
};
template <typename Text>
constexpr bool takesBoth = requires(Text text) {
    EventDraft{.schemaId = text, .schemaVersion = text};
};
static_assert(takesBoth<const char*> && !takesVersionOnly<const char*>);
static_assert(!takesBoth<int>);

TEST_F(HooksTest, DraftMembersReachTheirFields) {
    EXPECT_EQ(send("view", {{"title", "Home"}}).message(), "queued");
    const auto queued = lastQueued().fields();
    EXPECT_EQ(queued.id, "view");
    EXPECT_EQ(queued.version, "1");
    EXPECT_EQ(queued.contentType, "text/plain");
    EXPECT_EQ(queued.url, "https://example.com/a");
    EXPECT_EQ(queued.referer, "https://from.example");
    EXPECT_EQ(queued.relationId, "relation");
    EXPECT_EQ(*queued.properties, JSONValue({{"title", "Home"}}));

    client_->send({.schemaId = "any", .schemaVersion = "1"});
    EXPECT_EQ(lastQueued().fields().contentType, "application/json");
    EXPECT_EQ(lastQueued().fields().relationId, std::nullopt);
}

TEST_F(HooksTest, EventKeepsItsOwnRelationId) {
    int calls = 0;
    const auto handler = [&](const EventRef& event, const ZentaraClientErrorRef& error) {
        ++calls;
        EXPECT_EQ(error, nullptr);
        EXPECT_EQ(event->relationId(), "own");
        EXPECT_EQ(event->referer(), AnyText());
    };
    client_->send(ZentaraClient::createEvent("any", "1", "type", "url", "referer", {}, "own"),
                  handler);
    EXPECT_EQ(lastQueued().fields().relationId, "own");
    EXPECT_EQ(lastQueued().fields().referer, "referer");
    client_->send(EventRef(), handler);
    EXPECT_EQ(calls, 1);
}

TEST_F(HooksTest, GlobalPropertiesLieBelowOwn) {
    ZentaraClient::setGlobalProperties({{"title", "global"}, {"build", 7}, {"bad\xFF", "\xC0"}});
    const JSONObject merged{{"title", "own"}, {"n", 1}, {"build", 7}, {"bad\uFFFD", "\uFFFD"}};
    const auto outcome = send("view", {{"title", "own"}, {"n", 1}});
    EXPECT_EQ(outcome.message(), "queued");
    EXPECT_EQ(outcome.event->properties(), merged);
    EXPECT_EQ(lastQueued().properties(), JSONValue(merged));
    EXPECT_EQ(client_->validate("view", "1", {}).outcome, ValidationReport::Outcome::valid);

    ZentaraClient::setGlobalProperties({});
    EXPECT_EQ(client_->validate("view", "1", {}).outcome, ValidationReport::Outcome::invalid);
    EXPECT_EQ(send("any", {{"n", 2}}).event->properties(), JSONObject({{"n", 2}}));
}

TEST_F(HooksTest, QueuedEventIsWhatTheFunctionMadeOfIt) {
    ZentaraClient::setGlobalProperties({{"build", 7}});
    std::string uuid;
    ZentaraClient::setBeforeQueue([&](OutgoingEvent& outgoing) {
        EXPECT_EQ(outgoing.event.schemaId(), "view");
        EXPECT_EQ(outgoing.event.properties(), JSONObject({{"n", 1}}));
        EXPECT_EQ(outgoing.event.referer(), AnyText());
        EXPECT_EQ(outgoing.properties, JSONObject({{"n", 1}, {"build", 7}}));
        EXPECT_EQ(outgoing.url, AnyText("https://example.com/a"));
        EXPECT_EQ(outgoing.referer, AnyText("https://from.example"));
        uuid = outgoing.actionUUID;
        outgoing.properties.set("title", "from the function");
        outgoing.properties.erase("build");
        outgoing.url = "https://example.com/b";
        outgoing.referer = "https://other.example";
        return EventDecision::queue;
    });
    const JSONObject changed{{"n", 1}, {"title", "from the function"}};
    const auto outcome = send("view", {{"n", 1}});
    EXPECT_EQ(outcome.message(), "queued");
    EXPECT_EQ(outcome.event->properties(), changed);
    EXPECT_EQ(outcome.event->url(), AnyText("https://example.com/b"));
    EXPECT_EQ(outcome.event->referer(), AnyText());
    EXPECT_EQ(outcome.event->relationId(), "relation");
    const auto queued = lastQueued().fields();
    EXPECT_EQ(queued.zentaraActionUUID, uuid);
    EXPECT_EQ(*queued.properties, JSONValue(changed));
    EXPECT_EQ(queued.url, "https://example.com/b");
    EXPECT_EQ(queued.referer, "https://other.example");
}

TEST_F(HooksTest, FunctionDecidesTheOutcome) {
    using Count = std::int64_t ZentaraClientStatistics::*;
    const auto setting = [](const char* name, JSONValue value) {
        return [name, value](OutgoingEvent& outgoing) {
            outgoing.properties.set(name, value);
            return EventDecision::queue;
        };
    };
    const std::string threw = "Event not queued: the host's function has thrown: ";
    using S = ZentaraClientStatistics;
    const std::tuple<BeforeQueue, std::string, Count> cases[] = {
        {[](auto&) { return EventDecision::drop; }, "Event not queued: the host has dropped it",
         &S::droppedByHook},
        {[](auto&) { return static_cast<EventDecision>(7); },
         "Event not queued: the host has dropped it", &S::droppedByHook},
        {[](auto&) -> EventDecision { throw std::runtime_error("of the host\xFF"); },
         threw + "of the host\uFFFD", &S::refusedByHook},
        {[](auto&) -> EventDecision { throw 5; }, threw + "exception of unknown type",
         &S::refusedByHook},
        {setting("title", 5),
         "Data not valid for specified Schema. Error validating view-1 schema: "
         "'5' is not of type 'string'",
         &S::refusedInvalid},
        {setting("x", std::nan("")), "Event Not Queued", &S::refusedNotEncodable},
        {setting("x", nested(600)), "Event Not Queued", &S::refusedNotEncodable},
        {setting("x\xFF", "\xC0"), "queued", &S::accepted},
    };
    std::int64_t refused = 0;
    for (const auto& [function, message, count] : cases) {
        const auto before = ZentaraClient::statistics().*count;
        ZentaraClient::setBeforeQueue(function);
        const auto outcome = send("view", {{"title", "Home"}});
        EXPECT_EQ(outcome.message(), message);
        EXPECT_EQ(ZentaraClient::statistics().*count, before + 1) << message;
        if (count == &S::droppedByHook || count == &S::refusedByHook) {
            ++refused;
            EXPECT_EQ(outcome.event->properties(), JSONObject({{"title", "Home"}}));
        }
    }
    EXPECT_EQ(lastQueued().properties(), JSONValue({{"title", "Home"}, {"x\uFFFD", "\uFFFD"}}));
    EXPECT_EQ(lastQueued().fields().zentaraActionSequence, std::int64_t(std::size(cases)) - refused)
        << "an event that the function refuses takes no number";
    ZentaraClient::setBeforeQueue(nullptr);
    EXPECT_EQ(send("view", {{"title", "Home"}}).message(), "queued");
}

TEST_F(HooksTest, HeldBackEventsPassTheFunctionOnce) {
    ZentaraClient::setIsReady(false);
    int calls = 0;
    ZentaraClient::setBeforeQueue([&](OutgoingEvent& outgoing) {
        outgoing.properties.set("calls", ++calls);
        return EventDecision::queue;
    });
    EXPECT_EQ(send("any", {}).message(),
              "Zentara Client is not Ready! Event queued to be sent later: any.");
    EXPECT_EQ(eventsIn("unvalidated-events-storage").back().properties(),
              JSONValue({{"calls", 1}}));
    ZentaraClient::setIsReady(true);
    EXPECT_EQ(send("any", {}).message(), "queued");
    const auto queued = eventsIn("events-storage");
    ASSERT_EQ(queued.size(), 2U);
    EXPECT_EQ(queued[0].properties(), JSONValue({{"calls", 1}}));
    EXPECT_EQ(queued[1].properties(), JSONValue({{"calls", 2}}));
}

TEST_F(HooksTest, ConcurrentSendsSeeWholeSettings) {
    std::atomic<bool> isDone = false;
    std::jthread changing([&] {
        for (int i = 0; !isDone; ++i) {
            ZentaraClient::setGlobalProperties({{"one", i}, {"two", i}});
            ZentaraClient::setBeforeQueue([own = std::make_shared<int>(i)](auto& event) {
                event.properties.set("function", *own);
                return EventDecision::queue;
            });
            ZentaraClient::setBeforeQueue(nullptr);
        }
    });
    inThreads(2, [&](int) {
        for (int i = 0; i < 200; ++i) {
            client_->send({.schemaId = "any", .schemaVersion = "1"}, [](auto event, auto error) {
                EXPECT_EQ(error, nullptr);
                const auto& properties = event->properties();
                if (const auto* one = properties.find("one")) {
                    EXPECT_EQ(*one, properties.at("two"));
                }
            });
        }
    });
    isDone = true;
}

TEST_F(HooksTest, ValidateSaysWhatSendWould) {
    using enum ValidationReport::Outcome;
    ZentaraClient::setBeforeQueue([](auto&) {
        ADD_FAILURE() << "nothing is sent";
        return EventDecision::drop;
    });
    const auto unfit = "The properties hold a number that is not finite, or too deep nesting";
    const std::tuple<const char*, const char*, JSONObject, ValidationReport> cases[] = {
        {"view", "1", {{"title", "Home"}}, {valid, {}}},
        {"view",
         "1",
         {{"n", 1.5}},
         {invalid,
          {"Required properties are missing '[\"title\"]'", "'1.5' is not of type 'integer'"}}},
        {"view", "2", {}, {unknownSchema, {}}},
        {"1", "view", {}, {unknownSchema, {}}},
        {"any", "1", {{"x", std::nan("")}}, {invalid, {unfit}}},
        {"any", "1", {{"x", nested(600)}}, {invalid, {unfit}}},
    };
    const auto before = ZentaraClient::statistics();
    for (const auto& [id, version, properties, report] : cases) {
        EXPECT_EQ(client_->validate(id, version, properties), report) << id << "-" << version;
    }
    EXPECT_EQ(ZentaraClient::statistics().accepted, before.accepted);
    EXPECT_EQ(ZentaraClient::statistics().refusedInvalid, before.refusedInvalid);
    ZentaraClient::setIsReady(false);
    EXPECT_EQ(client_->validate("any", "1", {}), (ValidationReport{notReady, {}}));
}

using HooksDeathTest = HooksTest;

TEST_F(HooksDeathTest, FailFastNamesSchemaAndMessages) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    ZentaraClient::setFailFast(true);
    ZentaraClient::setIsReady(false);
    EXPECT_THAT(send("view", {}).message(), testing::StartsWith("Zentara Client is not Ready!"));
    ZentaraClient::setIsReady(true);
    EXPECT_EQ(send("any", {}).message(), "queued") << "the held-back event is dropped";
    EXPECT_EQ(send("any", {{"x", std::nan("")}}).message(), "Event Not Queued");
    // Longer than the buffer of one write.
    const std::string text(3000, 'x');
    EXPECT_DEATH(send("view", {{"n", text}}),
                 "ZentaraClient: fatal error: Data not valid for specified Schema. Error "
                 "validating view-1 schema: Required properties are missing '.\"title\".', '" +
                     text + "' is not of type 'integer'\n$");
    EXPECT_DEATH(send("nowhere", {}),
                 "ZentaraClient: fatal error: there is no schema nowhere-1\n$");
}

TEST_F(HooksTest, ObserverIsToldOfDroppedEvents) {
    const auto notices = std::make_shared<Mailbox<DeliveryNotice>>();
    ZentaraClient::setIsReady(false);
    std::vector<std::string> uuids;
    send("view", {});
    send("nowhere", {});
    for (const auto& event : eventsIn("unvalidated-events-storage"))
        uuids.push_back(event.fields().zentaraActionUUID);
    ZentaraClient::setDeliveryObserver([notices](const auto& notice) { notices->put(notice); });
    ZentaraClient::setIsReady(true);
    EXPECT_EQ(send("any", {}).message(), "queued");
    ASSERT_TRUE(notices->waitFor(1));
    using enum DeliveryNotice::Kind;
    EXPECT_THAT(
        notices->values(),
        ElementsAre(DeliveryNotice{dropped,
                                   {uuids.at(0)},
                                   "Data not valid for specified Schema. Error validating "
                                   "view-1 schema: Required properties are missing "
                                   "'[\"title\"]'"},
                    DeliveryNotice{dropped, {uuids.at(1)}, "there is no schema nowhere-1"}));
}

TEST_F(HooksTest, ObserverIsToldOfDeliveredEvents) {
    const auto notices = std::make_shared<Mailbox<DeliveryNotice>>();
    ZentaraClient::setDeliveryObserver([notices](const auto& notice) { notices->put(notice); });
    send("any", {{"n", 1}});
    send("any", {{"n", 2}});
    std::vector<std::string> uuids;
    for (const auto& event : eventsIn("events-storage"))
        uuids.push_back(event.fields().zentaraActionUUID);
    services_.idStatus = 200;
    while (fetchHsid(*client_) == "")
        continue;
    EXPECT_EQ(fetch(*client_), BackgroundFetchResult::newData);
    ASSERT_TRUE(notices->waitFor());
    EXPECT_THAT(notices->values(),
                ElementsAre(DeliveryNotice{DeliveryNotice::Kind::delivered, uuids, ""}));

    ZentaraClient::setDeliveryObserver(nullptr);
    send("any", {{"n", 3}});
    EXPECT_EQ(fetch(*client_), BackgroundFetchResult::newData);
    // Its callback comes after those that were due before.
    EXPECT_EQ(fetchHsid(*client_), "session");
    EXPECT_EQ(notices->values().size(), 1U);
}

TEST_F(HooksTest, ShutdownForgetsAfterTheLastNotice) {
    const auto notices = std::make_shared<Mailbox<DeliveryNotice>>();
    const auto lines = std::make_shared<Mailbox<std::string>>();
    services_.idStatus = 200;
    while (fetchHsid(*client_) == "")
        continue;
    services_.eventStatus = 500;
    send("any", {{"n", 1}});
    const auto setFunctions = [&] {
        ZentaraClient::setDeliveryObserver([notices](const auto& notice) { notices->put(notice); });
        ZentaraClient::setLogSink(LogLevel::info, [lines](const auto& line) {
            lines->put(line.component + ": " + line.text);
        });
    };
    setFunctions();
    const auto uuid = lastQueued().fields().zentaraActionUUID;
    EXPECT_EQ(ZentaraClient::shutdown(generousTimeout).outcome, FlushResult::Outcome::failed);
    EXPECT_THAT(lines->values(),
                ElementsAre("delivery: request to 'localhost' failed: unexpected HTTP status 500"));
    EXPECT_THAT(notices->values(), testing::IsEmpty());

    services_.eventStatus = 200;
    TestHost::configure();
    setFunctions();
    ZentaraClient::pauseDelivery();
    client_ = getClient();
    // The notice waits for this callback, which ends when it is too late for a notice, or soon.
    const auto begun = std::make_shared<Signal>();
    client_->getHsid([begun](const auto&) {
        begun->notify();
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(100);
        while (HostFunctions::current() && std::chrono::steady_clock::now() < end)
            std::this_thread::yield();
    });
    ASSERT_TRUE(begun->waitFor());
    ZentaraClient::resumeDelivery();
    EXPECT_EQ(ZentaraClient::shutdown(generousTimeout).outcome, FlushResult::Outcome::empty);
    EXPECT_THAT(notices->values(),
                ElementsAre(DeliveryNotice{DeliveryNotice::Kind::delivered, {uuid}, ""}));
    EXPECT_EQ(HostFunctions::current(), nullptr);
}

struct ManualControlTime final : ControlTimeProtocol {
    std::uint64_t ticks = 1'000'000'000;

    [[nodiscard]] std::uint64_t currentMonotonicValue() const override { return ticks; }
};

TEST_F(HooksTest, QuietTimeBeginsAContext) {
    static ManualControlTime time;
    static Ledger ledger;
    // Until the client is ready it works with these collaborators only.
    const auto client = ZentaraClientBuilder::assemble(
        {.schemasProvider = nullptr,
         .eventBus = nullptr,
         .idManager = ZentaraIDManager::create(
             {"agent", std::make_unique<FileStorage<Token>>(systemFiles(), "token"),
              std::make_unique<Ticker>(), ZentaraClientBuilder::collector(), nullptr,
              TickerProtocol::Clock::now}),
         .unvalidatedEventsRepository = openSampleQueue(ledger.heldBackQueue),
         .settings = ClientSettings::current,
         .ledger = ledger,
         .controlTime = time});
    ZentaraClient::setIsReady(false);
    using std::chrono::seconds;
    constexpr std::int64_t second = 10'000'000;
    enum class Context { same, another };
    const std::tuple<seconds, std::int64_t, Context> cases[] = {
        {seconds(30), 0, Context::same},  // the first event
        {seconds(30), 30 * second - 1, Context::same},
        {seconds(30), 30 * second, Context::another},
        {seconds(30), 30 * second - 1, Context::same},
        {seconds(30), -second, Context::same},
        {seconds(30), 31 * second, Context::another},
        {seconds(0), 3600 * second, Context::same},
        {seconds(-1), 3600 * second, Context::same},
        {seconds(30), second, Context::same},
        {seconds::max(), 3600 * second, Context::same},
        {seconds(1), second, Context::another},
    };
    auto context = client->getContextId();
    for (const auto& [timeout, passed, expected] : cases) {
        SCOPED_TRACE(std::to_string(timeout.count()) + ", " + std::to_string(passed));
        ZentaraClient::setSessionTimeout(timeout);
        time.ticks += static_cast<std::uint64_t>(passed);
        client->send({.schemaId = "any", .schemaVersion = "1"});
        const auto sent = eventsIn("queue").back().fields().zentaraClientContextID;
        EXPECT_EQ(sent == context, expected == Context::same);
        EXPECT_EQ(client->getContextId(), sent);
        context = sent;
    }
}

}  // namespace
}  // namespace zentara
