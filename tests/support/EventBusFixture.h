#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "dispatch/EventBus.h"
#include "dispatch/storage/FileStorage.h"
#include "identity/ZentaraIDManager.h"
#include "json/JSONText.h"
#include "model/EventDecoder.h"
#include "support/Files.h"
#include "support/ManualControlTime.h"
#include "support/ManualTicker.h"
#include "support/RecordingSession.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"
#include "support/WaitFor.h"

namespace zentara::test {

using Numbers = std::vector<std::int64_t>;

/// A bus over a queue on disk, with an identity, a session without a network, and timers and clocks
/// that the test moves.
class EventBusFixture : public testing::Test {
  protected:
    EventBusFixture() { identity_->setLoggedUser(UserTokenType::guest, "of events to come"); }
    // A worker may be the last to hold a bus, which uses the members.
    ~EventBusFixture() override { EXPECT_TRUE(endedBuses_.waitFor(buses_)); }

    std::shared_ptr<EventBus> makeBus(const std::vector<InternalEvent>& queued) {
        writeTo(host_.file("queue"), fileOf(queued));
        const auto now = [] {
            return ZentaraClock::Date(std::chrono::milliseconds(1'700'000'000'123));
        };
        ++buses_;
        repository_ = openSampleQueue(ledger_.queue);
        const auto release = [this, repository = repository_](auto*) mutable {
            repository.reset();
            endedBuses_.notify();
        };
        return EventBus::create({{repository_.get(), release},
                                 identity_,
                                 "instance",
                                 std::make_unique<ManualTicker>(ticker_),
                                 collector_,
                                 ledger_,
                                 now,
                                 controlTime_,
                                 isPaused_,
                                 [this](DeliveryNotice::Kind kind, auto events, auto reason) {
                                     notices_.put({kind, numbersOf(events), std::string(reason)});
                                 },
                                 [] { return 0.5; },
                                 [this] {
                                     return std::make_unique<ManualTicker>(deadline_);
                                 }});
    }

    /// A bus whose settings have this policy.
    std::shared_ptr<EventBus> makeBus(const DeliveryPolicy& policy,
                                      const std::vector<InternalEvent>& queued) {
        auto settings = std::make_shared<ClientSettings>(*settings_);
        settings->delivery = policy;
        settings_ = std::move(settings);
        return makeBus(queued);
    }

    static DispatchResult dispatch(EventBus& bus) {
        return valueFrom<DispatchResult>([&](auto done) { bus.dispatch(done); }).value();
    }

    static FlushResult flush(EventBus& bus) {
        return valueFrom<FlushResult>(
                   [&](auto done) { bus.flush(std::chrono::hours(1), nullptr, done); })
            .value();
    }

    /// The text of the failure of a dispatch.
    static std::string textOf(const DispatchResult& result) {
        return result.error() ? result.error()->description() : "no failure";
    }

    [[nodiscard]] JSONObject envelope(std::size_t request) {
        return parseJSON(session_.requests().at(request).body.value())->object();
    }

    static Numbers actionsIn(const std::string& body) {
        Numbers numbers;
        const auto envelope = parseJSON(body);
        for (const auto& action : envelope->at("actions").array())
            numbers.push_back(action.at("zentaraActionSequence").integer());
        return numbers;
    }
    /// Those of all requests.
    [[nodiscard]] std::vector<Numbers> posts() {
        std::vector<Numbers> all;
        for (const auto& request : session_.requests())
            all.push_back(actionsIn(request.body.value()));
        return all;
    }

    [[nodiscard]] Numbers queued() const {
        return numbersOf(decodeEvents(contentsOf(host_.file("queue"))).events);
    }

    static Numbers range(std::int64_t first, std::int64_t count) {
        return numbersOf(sampleEvents(first, count));
    }

    struct Notice {
        DeliveryNotice::Kind kind;
        Numbers events;
        std::string reason;

        friend bool operator==(const Notice&, const Notice&) = default;
    };

    TestHost host_;
    RecordingSession session_;
    Ledger ledger_;
    Mailbox<Notice> notices_;
    std::size_t buses_ = 0;
    Signal endedBuses_;
    std::atomic<bool> isPaused_ = false;
    std::shared_ptr<const ClientSettings> settings_ = ClientSettings::current();
    const RemoteService collector_{[this] { return settings_; },
                                   [](ZentaraEnvironment environment) {
                                       return URL::parse(environment == ZentaraEnvironment::qa
                                                             ? "http://qa.test/base"
                                                             : "http://production.test")
                                           .value();
                                   },
                                   RestClient(session_)};
    ManualControlTime controlTime_;
    ManualTicker ticker_;
    ManualTicker deadline_;  ///< of the last flush
    std::shared_ptr<EventsRepository> repository_;
    const std::shared_ptr<IDManager> identity_ = ZentaraIDManager::create(
        {"agent", std::make_unique<FileStorage<Token>>(systemFiles(), "token"),
         std::make_unique<ManualTicker>(), collector_, nullptr, TickerProtocol::Clock::now});
};

}  // namespace zentara::test
