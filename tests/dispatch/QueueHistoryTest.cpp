#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>

#include "dispatch/EventsRepository.h"
#include "dispatch/storage/InternalEventStorageImpl.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

constexpr std::int64_t maxEvents = 40;

/// A queue and the plain list that it should be, taken through the same random history. After each
/// step the file must be, byte for byte, the list that was saved last.
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

    std::size_t upTo(std::size_t most) { return random_() % (most + 1); }

    void open() {
        auto storage = std::make_unique<InternalEventStorageImpl>(
            systemFiles(), "queue", std::chrono::seconds(10),
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
        // Now and then one that does not fit into what is written at a time with the others.
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

    /// The process is gone from one moment to the next: the files are as they are, and what was
    /// planned never happens. The next process works on a copy, as the old one's may still be open.
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

TEST(QueueHistoryTest, TheFileIsTheListThatWasSavedLast) {
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
