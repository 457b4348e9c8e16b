#include "dispatch/EventsRepository.h"

#include <gtest/gtest.h>

#include <random>
#include <set>

#include "support/PlatformError.h"
#include "support/SampleEvents.h"

namespace zentara {
namespace {

using namespace test;

/// Two stores in memory that remember what was in both after each write, as a kill finds them.
struct Journal {
    struct Moment {
        std::vector<InternalEvent> list;
        std::vector<InternalEvent> inFlight;
    };
    Moment now;
    std::vector<Moment> moments;
    bool isFull = false;

    struct List final : InternalEventStorage {
        explicit List(Journal& journal) : journal_(journal) {}
        Status save(const EventList& events) override {
            if (journal_.isFull) {
                return std::make_shared<PlatformError>(PlatformError::Domain::file, 28, "full");
            }
            journal_.now.list.assign(events.events().begin(), events.events().end());
            journal_.moments.push_back(journal_.now);
            return {};
        }
        Result<std::vector<InternalEvent>> load() override { return journal_.now.list; }
        Journal& journal_;
    };
    struct InFlight final : Storage<InternalEvent> {
        explicit InFlight(Journal& journal) : journal_(journal) {}
        Status save(std::span<const InternalEvent> events) override {
            journal_.now.inFlight.assign(events.begin(), events.end());
            journal_.moments.push_back(journal_.now);
            return {};
        }
        Result<std::vector<InternalEvent>> load() override { return journal_.now.inFlight; }
        Journal& journal_;
    };

    [[nodiscard]] std::unique_ptr<EventsRepository> open() {
        return std::make_unique<EventsRepository>(8000, std::make_unique<List>(*this), counts,
                                                  std::make_unique<InFlight>(*this));
    }
    Ledger::Queue counts;
};

TEST(EventsInFlightTest, KillBetweenWritesLosesAndRepeatsNothing) {
    Journal journal;
    std::set<std::int64_t> wanted;
    // What a process finds that starts after a kill at any moment since the last look, and the one
    // after that when it is killed at any moment of its start.
    const auto expectWantedAtEachMoment = [&](const std::string& step) {
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
        const auto what = random() % 4;
        bool isSaved = false;
        if (what == 0) {
            if (auto taken = repository->take(4); !taken.empty()) batches.push_back(taken);
        } else if (what == 1 && isOther) {
            for (const auto n : numbersOf(*batch))
                wanted.erase(n);
            repository->settle(*batch);
            batches.erase(batch);
        } else if (what == 2 && isOther) {
            repository->insert(*batch);
            if (random() % 3 != 0) repository->save();
            batches.erase(batch);
        } else if (what == 3) {
            repository->add(sampleEvent(number),
                            [&](const auto& result) { isSaved = result.ok(); });
        }
        expectWantedAtEachMoment("step " + std::to_string(what));
        if (isSaved) wanted.insert(number);
    }
    journal.isFull = false;
    for (const auto& batch : batches)
        repository->insert(batch);
    repository->save();
    expectWantedAtEachMoment("end");
    EXPECT_TRUE(journal.now.inFlight.empty());
}

}  // namespace
}  // namespace zentara
