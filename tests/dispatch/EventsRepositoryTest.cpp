#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <set>

#include "dispatch/EventsRepository.h"
#include "dispatch/storage/InternalEventStorageImpl.h"
#include "support/Files.h"
#include "support/PlatformError.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

/// Two stores in memory, and the contents of both after each write, as a kill leaves them.
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

TEST(EventsInFlightTest, KillBetweenWritesNeitherLosesNorRepeats) {
    Journal journal;
    std::set<std::int64_t> wanted;
    // Starts a process after a kill at each moment since the last check, and another after a kill
    // at each moment of that start.
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

constexpr std::int64_t maxEvents = 40;

/// Takes a queue and a plain list through the same random history. After each step the file must
/// be, byte for byte, the list that was saved last.
class QueueHistory {
  public:
    QueueHistory(std::uint64_t seed, std::size_t longestText)
        : longestText_(longestText), random_(seed) {
        open();
    }

    void run(int steps) {
        for (int step = 0; step < steps; ++step) {
            takeStep();
            const auto wanted = saved_ ? fileOf(*saved_) : std::string();
            ASSERT_EQ(contentsOf(host_->file("queue")), wanted)
                << "step " << step << ": " << lastStep_;
        }
        EXPECT_EQ(numbersOf(queue_->take(1'000'000)), numbersOf(list_));
    }

  private:
    using Duration = std::chrono::steady_clock::duration;

    std::size_t upTo(std::size_t most) { return static_cast<std::size_t>(random_() % (most + 1)); }

    void open() {
        auto storage =
            InternalEventStorageImpl::create(systemFiles(), "queue", std::chrono::seconds(10),
                                             [this](Duration, std::function<void()> work) {
                                                 background_.push_back(std::move(work));
                                             });
        storage->recover();
        queue_ = std::make_unique<EventsRepository>(maxEvents, std::move(storage),
                                                    Ledger::shared().queue);
    }

    void takeStep() {
        using Self = QueueHistory;
        constexpr std::pair<const char*, void (Self::*)()> steps[] = {
            {"take", &Self::take},
            {"settle", &Self::settle},
            {"insert", &Self::putBack},
            {"save", &Self::save},
            {"load", &Self::load},
            {"crash", &Self::crash},
            {"background", &Self::runInBackground},
            {"background", &Self::runInBackground},
            {"add", &Self::add}};
        // Six of fourteen steps add.
        const auto& [name, step] = steps[std::min(std::size(steps) - 1, upTo(13))];
        lastStep_ = name;
        (this->*step)();
    }

    void save() {
        queue_->save();
        saved_ = list_;
    }

    void load() {
        queue_->load();
        list_ = saved_.value_or(std::vector<InternalEvent>());
    }

    void add() {
        const StringMap users[] = {{{"type", "Anonymous"}, {"token", "Anonymous"}},
                                   {{"type", "email"}, {"token", "a@example.com"}}};
        // Some events are larger than one write.
        const auto length = upTo(40) == 0 ? 30'000 : upTo(upTo(longestText_));
        const auto event =
            sampleEvent(++last_, users[upTo(1)], {{"text", std::string(length, 'x') + "\\/\"é\n"}});
        queue_->add(event, [](const auto& result) { EXPECT_TRUE(result.ok()); });
        list_.push_back(event);
        if (static_cast<std::int64_t>(list_.size()) > maxEvents) list_.erase(list_.begin());
        saved_ = list_;
    }

    void take() {
        const auto count = std::min(upTo(15), list_.size());
        const auto end = list_.begin() + static_cast<std::ptrdiff_t>(count);
        const std::vector<InternalEvent> wanted(list_.begin(), end);
        list_.erase(list_.begin(), end);
        auto taken = queue_->take(static_cast<std::int64_t>(count));
        EXPECT_EQ(numbersOf(taken), numbersOf(wanted));
        if (!taken.empty()) taken_.push_back(std::move(taken));
    }

    void settle() {
        if (taken_.empty()) return;
        auto& batch = taken_[upTo(taken_.size() - 1)];
        const auto middle = batch.begin() + static_cast<std::ptrdiff_t>(upTo(batch.size()));
        queue_->settle({batch.begin(), middle});
        batch.erase(batch.begin(), middle);
        saved_ = list_;
    }

    void putBack() {
        if (taken_.empty()) return;
        const auto batch = taken_.begin() + static_cast<std::ptrdiff_t>(upTo(taken_.size() - 1));
        queue_->insert(*batch);
        list_.insert(list_.begin(), batch->begin(), batch->end());
        taken_.erase(batch);
    }

    /// Kills the process: the files stay, background work is lost. The next process uses a copy,
    /// since the old files may still be open.
    void crash() {
        if (upTo(3) != 0) return;
        auto next = std::make_unique<TestHost>();
        if (std::filesystem::exists(host_->documents())) {
            std::filesystem::copy(host_->documents(), next->documents(),
                                  std::filesystem::copy_options::recursive);
        }
        background_.clear();
        taken_.clear();
        queue_.reset();
        host_ = std::move(next);
        open();
        list_ = saved_.value_or(std::vector<InternalEvent>());
    }

    void runInBackground() {
        while (!background_.empty() && upTo(3) != 0) {
            const auto work = std::move(background_.front());
            background_.pop_front();
            work();
        }
    }

    const std::size_t longestText_;
    std::unique_ptr<TestHost> host_ = std::make_unique<TestHost>();
    std::mt19937_64 random_;
    std::deque<std::function<void()>> background_;
    std::unique_ptr<EventsRepository> queue_;
    std::vector<InternalEvent> list_;
    std::optional<std::vector<InternalEvent>> saved_;  // nothing until something was saved
    std::vector<std::vector<InternalEvent>> taken_;
    std::int64_t last_ = 0;
    const char* lastStep_ = "";
};

TEST(QueueHistoryTest, FileIsTheLastSavedList) {
    const std::tuple<std::uint64_t, std::size_t, int> cases[] = {
        {1, 300, 2000},
        {3, 400'000, 150},
        {std::random_device()(), 300, 1000},
        {std::random_device()(), 400'000, 100}};
    for (const auto& [seed, longestText, steps] : cases) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        QueueHistory(seed, longestText).run(steps);
    }
}

}  // namespace
}  // namespace zentara
