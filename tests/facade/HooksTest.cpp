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
#include "support/ManualControlTime.h"
#include "support/SampleEvents.h"
#include "support/Services.h"
#include "support/TestHost.h"
#include "support/threads/Ticker.h"

namespace zentara {
namespace {

using namespace test;
using testing::ElementsAre;

struct Answer {
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

    Answer send(const std::string& schema, JSONObject properties) {
        std::vector<Answer> outcomes;
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

    void useIdentity() {
        services_.idStatus = 200;
        // A fetch that began before may be under way.
        while (fetchHsid(*client_) == "")
            continue;
    }
    [[nodiscard]] std::vector<InternalEvent> eventsIn(const std::string& file) const {
        return decodeEvents(contentsOf(host_.file(file))).events;
    }
    [[nodiscard]] InternalEvent lastQueued() const { return eventsIn("events-storage").back(); }

    TestHost host_;
    Services services_;
    std::shared_ptr<ZentaraClient> client_;
};

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
    client_->send({.schemaId = "any", .schemaVersion = "1"});
    EXPECT_EQ(lastQueued().fields().contentType, "application/json");
    EXPECT_EQ(lastQueued().fields().relationId, std::nullopt);
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
}

TEST_F(HooksTest, QueuedEventIsWhatTheFunctionMadeOfIt) {
    ZentaraClient::setGlobalProperties({{"build", 7}});
    ZentaraClient::setBeforeQueue([&](OutgoingEvent& outgoing) {
        EXPECT_EQ(outgoing.event.properties(), JSONObject({{"n", 1}}));
        EXPECT_EQ(outgoing.properties, JSONObject({{"n", 1}, {"build", 7}}));
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
    const auto queued = lastQueued().fields();
    EXPECT_EQ(queued.contentType, "text/plain");
    EXPECT_EQ(queued.relationId, "relation");
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
    send("any", {});
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
        {"view", "2", {}, {unknownSchema, {}}},
        {"1", "view", {}, {unknownSchema, {}}},
        {"any", "1", {{"x", std::nan("")}}, {invalid, {unfit}}},
        {"any", "1", {{"x", nested(600)}}, {invalid, {unfit}}},
    };
    for (const auto& [id, version, properties, report] : cases) {
        EXPECT_EQ(client_->validate(id, version, properties), report) << id << "-" << version;
        const EventDraft draft{id, version, properties};
        EXPECT_EQ(client_->validate(draft), report) << id << "-" << version;
    }
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

TEST_F(HooksTest, ObserverIsToldOfEachFate) {
    using enum DeliveryNotice::Kind;
    const auto notices = std::make_shared<Mailbox<DeliveryNotice>>();
    ZentaraClient::setIsReady(false);
    send("view", {});
    send("nowhere", {});
    auto events = eventsIn("unvalidated-events-storage");
    ZentaraClient::setDeliveryObserver([notices](const auto& notice) { notices->put(notice); });
    ZentaraClient::setIsReady(true);
    send("any", {{"n", 1}});
    send("any", {{"n", 2}});
    const auto queued = eventsIn("events-storage");
    events.insert(events.end(), queued.begin(), queued.end());
    std::vector<std::string> uuids;
    for (const auto& event : events)
        uuids.push_back(event.fields().zentaraActionUUID);
    ASSERT_EQ(uuids.size(), 4U);
    useIdentity();
    EXPECT_EQ(fetch(*client_), BackgroundFetchResult::newData);
    ASSERT_TRUE(notices->waitFor(2));
    ZentaraClient::setDeliveryObserver(nullptr);
    send("any", {{"n", 3}});
    EXPECT_EQ(fetch(*client_), BackgroundFetchResult::newData);
    // Its callback comes after those that were due before.
    EXPECT_EQ(fetchHsid(*client_), "session");
    EXPECT_THAT(notices->values(),
                ElementsAre(DeliveryNotice{dropped,
                                           {uuids[0]},
                                           "Data not valid for specified Schema. Error validating "
                                           "view-1 schema: Required properties are missing "
                                           "'[\"title\"]'"},
                            DeliveryNotice{dropped, {uuids[1]}, "there is no schema nowhere-1"},
                            DeliveryNotice{delivered, {uuids[2], uuids[3]}, ""}));
}

TEST_F(HooksTest, ShutdownForgetsAfterTheLastNotice) {
    const auto notices = std::make_shared<Mailbox<DeliveryNotice>>();
    const auto lines = std::make_shared<Mailbox<std::string>>();
    useIdentity();
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
    using namespace std::chrono_literals;
    constexpr std::int64_t second = 10'000'000;
    struct Case {
        std::chrono::seconds timeout;
        std::int64_t passed;
        bool isSame;
    };
    const Case cases[] = {
        {30s, 0, true},  // the first event
        {30s, 30 * second - 1, true},
        {30s, 30 * second, false},
        {30s, 30 * second - 1, true},
        {30s, -second, true},
        {30s, 31 * second, false},
        {0s, 3600 * second, true},
        {-1s, 3600 * second, true},
        {30s, second, true},
        {std::chrono::seconds::max(), 3600 * second, true},
        {1s, second, false},
    };
    auto context = client->getContextId();
    for (const auto& [timeout, passed, isSame] : cases) {
        SCOPED_TRACE(std::to_string(timeout.count()) + ", " + std::to_string(passed));
        ZentaraClient::setSessionTimeout(timeout);
        time.value += static_cast<std::uint64_t>(passed);
        client->send({.schemaId = "any", .schemaVersion = "1"});
        const auto sent = eventsIn("queue").back().fields().zentaraClientContextID;
        EXPECT_EQ(sent == context, isSame);
        EXPECT_EQ(client->getContextId(), sent);
        context = sent;
    }
}

}  // namespace
}  // namespace zentara
