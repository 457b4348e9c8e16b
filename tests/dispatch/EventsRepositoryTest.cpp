#include "dispatch/EventsRepository.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <thread>

#include "dispatch/InternalEventStorageImpl.h"
#include "support/MemoryEventStorage.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using Numbers = std::vector<std::int64_t>;

/// Runs over the file store and over its twin in memory.
class EventsRepositoryTest : public testing::TestWithParam<bool> {
  protected:
    [[nodiscard]] std::unique_ptr<InternalEventStorage> storage() {
        if (GetParam()) {
            // Without background work: that of a store which is gone could still be in the middle
            // of the next one's file.
            return std::make_unique<InternalEventStorageImpl>(
                "queue", std::chrono::seconds(10),
                [](std::chrono::steady_clock::duration, const std::function<void()>&) {});
        }
        return std::make_unique<MemoryEventStorage>(disk_);
    }

    [[nodiscard]] Numbers stored() { return numbersOf(storage()->load().records); }

    static bool add(EventsRepository& repository, const InternalEvent& event) {
        int calls = 0;
        bool succeeded = false;
        repository.add(event, [&](const EventRepositoryResult& result) {
            ++calls;
            succeeded = result.event() != nullptr;
            EXPECT_EQ(result, succeeded ? EventRepositoryResult::success(event)
                                        : EventRepositoryResult::failure(nullptr));
        });
        EXPECT_EQ(calls, 1);
        return succeeded;
    }

    static Numbers takeAll(EventsRepository& repository) {
        return numbersOf(repository.take(std::numeric_limits<std::int64_t>::max()));
    }

    TestHost host_;
    std::shared_ptr<MemoryDisk> disk_ = std::make_shared<MemoryDisk>();
};

INSTANTIATE_TEST_SUITE_P(Stores, EventsRepositoryTest, testing::Bool(),
                         [](const auto& store) { return store.param ? "File" : "Memory"; });

TEST_P(EventsRepositoryTest, AnAddedEventIsInTheStoreAndInTheNextRun) {
    {
        EventsRepository repository(8000, storage());
        for (const auto& event : sampleEvents(1, 3))
            EXPECT_TRUE(add(repository, event));
    }
    EXPECT_EQ(stored(), (Numbers{1, 2, 3}));
    EventsRepository next(8000, storage());
    EXPECT_EQ(takeAll(next), (Numbers{1, 2, 3}));
    EXPECT_EQ(stored(), (Numbers{1, 2, 3})) << "taking does not save";
    next.save();
    EXPECT_EQ(stored(), Numbers());
}

TEST_P(EventsRepositoryTest, TheOldestEventGivesWayOnePerAdd) {
    EventsRepository repository(3, storage());
    for (const auto& event : sampleEvents(1, 5))
        EXPECT_TRUE(add(repository, event));
    EXPECT_EQ(stored(), (Numbers{3, 4, 5}));
    repository.insert(sampleEvents(10, 2));
    EXPECT_TRUE(add(repository, sampleEvent(6)));
    EXPECT_EQ(stored(), (Numbers{11, 3, 4, 5, 6})) << "putting back may exceed the bound";
}

TEST_P(EventsRepositoryTest, TakesFromTheFrontAndPutsBackAtTheFront) {
    EventsRepository repository(8000, storage());
    for (const auto& event : sampleEvents(1, 4))
        EXPECT_TRUE(add(repository, event));
    EXPECT_TRUE(repository.take(0).empty());
    EXPECT_TRUE(repository.take(-5).empty());
    const auto taken = repository.take(2);
    EXPECT_EQ(numbersOf(taken), (Numbers{1, 2}));
    repository.insert(taken);
    EXPECT_EQ(takeAll(repository), (Numbers{1, 2, 3, 4}));
    EXPECT_TRUE(repository.take(1).empty());
}

TEST_P(EventsRepositoryTest, WhatASelectionLeavesStaysAtTheFront) {
    EventsRepository repository(8000, storage());
    for (const auto& event : sampleEvents(1, 6))
        EXPECT_TRUE(add(repository, event));
    const auto odd =
        repository.take(4, [](const InternalEvent& oldest, const InternalEvent& event) {
            return (event.fields().createdAt - oldest.fields().createdAt) % 2 == 0;
        });
    EXPECT_EQ(numbersOf(odd), (Numbers{1, 3}));
    EXPECT_EQ(takeAll(repository), (Numbers{2, 4, 5, 6}));
}

TEST_P(EventsRepositoryTest, AnEventThatJSONCannotHoldIsRefusedAndSpoilsNothing) {
    EventsRepository repository(8000, storage());
    EXPECT_TRUE(add(repository, sampleEvent(1)));
    EXPECT_FALSE(add(repository, sampleEvent(2, {}, {{"p", std::nan("")}})));
    EXPECT_TRUE(add(repository, sampleEvent(3)));
    EXPECT_EQ(stored(), (Numbers{1, 3}));
}

TEST_P(EventsRepositoryTest, SeveralThreadsLoseNothing) {
    constexpr std::int64_t perThread = 100;
    EventsRepository repository(8000, storage());
    std::vector<InternalEvent> taken;
    {
        std::vector<std::jthread> threads;
        for (std::int64_t thread = 0; thread < 3; ++thread) {
            threads.emplace_back([&repository, thread] {
                for (const auto& event : sampleEvents(thread * perThread, perThread)) {
                    EXPECT_TRUE(add(repository, event));
                }
            });
        }
        threads.emplace_back([&] {
            for (int round = 0; round < 50; ++round) {
                auto batch = repository.take(10);
                if (round % 2 == 0) {
                    repository.insert(batch);
                } else {
                    taken.insert(taken.end(), batch.begin(), batch.end());
                }
                repository.save();
            }
        });
    }
    auto numbers = numbersOf(taken);
    EXPECT_EQ(numbersOf(storage()->load().records),
              numbersOf(EventsRepository(8000, storage()).take(8000)));
    for (const auto number : takeAll(repository))
        numbers.push_back(number);
    std::sort(numbers.begin(), numbers.end());
    ASSERT_EQ(numbers.size(), 3U * perThread);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
        ASSERT_EQ(numbers[i], static_cast<std::int64_t>(i));
    }
}

/// Two stores in memory that remember what was in both after each write, as a kill finds them.
struct Journal {
    struct Moment {
        std::vector<InternalEvent> list;
        std::vector<InternalEvent> underWay;
    };
    Moment now;
    std::vector<Moment> moments;
    bool isFull = false;

    struct List final : InternalEventStorage {
        explicit List(Journal& journal) : journal_(journal) {}
        ErrorRef save(const EventList& events) override {
            if (journal_.isFull) {
                return std::make_shared<PlatformError>(PlatformError::Domain::file, 28, "full");
            }
            journal_.now.list.assign(events.events().begin(), events.events().end());
            journal_.moments.push_back(journal_.now);
            return nullptr;
        }
        Loaded<InternalEvent> load() override { return {journal_.now.list, nullptr, true}; }
        Journal& journal_;
    };
    struct UnderWay final : Storage<InternalEvent> {
        explicit UnderWay(Journal& journal) : journal_(journal) {}
        ErrorRef save(std::span<const InternalEvent> events) override {
            journal_.now.underWay.assign(events.begin(), events.end());
            journal_.moments.push_back(journal_.now);
            return nullptr;
        }
        Loaded<InternalEvent> load() override { return {journal_.now.underWay, nullptr, true}; }
        Journal& journal_;
    };

    [[nodiscard]] std::unique_ptr<EventsRepository> open() {
        return std::make_unique<EventsRepository>(8000, std::make_unique<List>(*this), counts,
                                                  std::make_unique<UnderWay>(*this));
    }
    Ledger::Queue counts;
};

TEST(EventsUnderWayTest, AKillBetweenAnyTwoWritesLosesAndRepeatsNothing) {
    Journal journal;
    std::set<std::int64_t> wanted;
    // What a process finds that starts after a kill at any moment since the last look, and the one
    // after that when it is killed at any moment of its start.
    const auto expectWantedAtEachMoment = [&](const char* step) {
        for (const auto& moment : std::exchange(journal.moments, {})) {
            Journal next;
            next.now = moment;
            auto found = numbersOf(next.open()->take(8000));
            next.moments.push_back(moment);
            for (const auto& early : std::exchange(next.moments, {})) {
                next.now = early;
                EXPECT_EQ(numbersOf(next.open()->take(8000)), found) << step;
            }
            std::sort(found.begin(), found.end());
            EXPECT_TRUE(std::adjacent_find(found.begin(), found.end()) == found.end()) << step;
            EXPECT_TRUE(std::includes(found.begin(), found.end(), wanted.begin(), wanted.end()))
                << step << ": " << testing::PrintToString(found) << " lacks some of "
                << testing::PrintToString(wanted);
        }
    };

    const auto repository = journal.open();
    std::mt19937 random(11);
    std::vector<std::vector<InternalEvent>> batches;
    for (std::int64_t number = 1; number < 400; ++number) {
        journal.isFull = random() % 4 == 0;
        const bool isOther = !batches.empty() && random() % 2 == 0;
        const auto batch =
            batches.begin() + static_cast<std::ptrdiff_t>(isOther ? random() % batches.size() : 0);
        switch (random() % 4) {
            case 0:
                if (auto taken = repository->take(4); !taken.empty()) batches.push_back(taken);
                expectWantedAtEachMoment("take");
                break;
            case 1:
                if (!isOther) break;
                for (const auto n : numbersOf(*batch))
                    wanted.erase(n);
                repository->settle(*batch);
                batches.erase(batch);
                expectWantedAtEachMoment("settle");
                break;
            case 2:
                if (!isOther) break;
                repository->insert(*batch);
                if (random() % 3 != 0) repository->save();
                batches.erase(batch);
                expectWantedAtEachMoment("put back");
                break;
            default:
                bool isSaved = false;
                repository->add(sampleEvent(number),
                                [&](const auto& result) { isSaved = result.event() != nullptr; });
                expectWantedAtEachMoment("add");
                if (isSaved) wanted.insert(number);
        }
    }
    journal.isFull = false;
    for (const auto& batch : batches)
        repository->insert(batch);
    repository->save();
    expectWantedAtEachMoment("end");
    EXPECT_TRUE(journal.now.underWay.empty());
}

TEST(EventsRepositoryFailureTest, AnEventThatCouldNotBeStoredStaysInMemoryForTheNextSave) {
    const auto disk = std::make_shared<MemoryDisk>();
    disk->events = sampleEvents(1, 2);
    disk->isBroken = true;
    EventsRepository repository(8000, std::make_unique<MemoryEventStorage>(disk));
    ErrorRef error;
    repository.add(sampleEvent(3), [&](const auto& result) { error = result.error(); });
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->description(), "broken on purpose");
    disk->isBroken = false;
    repository.save();
    EXPECT_EQ(numbersOf(disk->events), Numbers{3}) << "a queue that cannot be read starts empty";
}

TEST(EventRepositoryResultTest, FailuresAreEqualWhateverTheirErrors) {
    const auto success = [](int n) {
        return EventRepositoryResult::success(sampleEvent(n));
    };
    const auto failure = EventRepositoryResult::failure(nullptr);
    EXPECT_EQ(failure, EventRepositoryResult::failure(
                           std::make_shared<PlatformError>(PlatformError::Domain::file, 1, "")));
    EXPECT_EQ(success(1), success(1));
    EXPECT_FALSE(success(1) == success(2));
    EXPECT_FALSE(success(1) == failure);
}

}  // namespace
}  // namespace zentara
