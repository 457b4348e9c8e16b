#include "dispatch/Leftovers.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include "dispatch/InternalEventStorageImpl.h"
#include "dispatch/UnderWayFile.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using Numbers = std::vector<std::int64_t>;

/// Lets the process open no file for the length of a scope.
class NoMoreFiles {
  public:
    NoMoreFiles() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    ~NoMoreFiles() { ::setrlimit(RLIMIT_NOFILE, &before_); }
    NoMoreFiles(const NoMoreFiles&) = delete;
    NoMoreFiles& operator=(const NoMoreFiles&) = delete;

  private:
    rlimit before_{};
};

class LeftoversTest : public testing::Test {
  protected:
    /// The queue of the next run.
    std::unique_ptr<EventsRepository> open() {
        auto storage = std::make_unique<InternalEventStorageImpl>(
            "queue", std::chrono::seconds(10),
            [](std::chrono::steady_clock::duration, const std::function<void()>&) {});
        storage->recover();
        auto queue = std::make_unique<EventsRepository>(8000, std::move(storage), counts_,
                                                        std::make_unique<UnderWayFile>("queue"));
        takeInLeftovers(*queue, host_.file("queue"));
        return queue;
    }
    Numbers waiting() { return numbersOf(open()->take(8000)); }

    /// The names of the files that were put by.
    std::vector<std::string> putBy() {
        std::vector<std::string> found;
        for (const auto& name : namesIn(host_.documents())) {
            if (name.starts_with("queue.unread-")) found.push_back(name);
        }
        return found;
    }

    TestHost host_;
    Ledger::Queue counts_;
};

TEST_F(LeftoversTest, AFileThatCannotBeReadForTheMomentIsTakenInByTheNextStart) {
    for (const std::string name : {"queue", ".queue.under-way", ".queue.checkpoint"}) {
        std::filesystem::remove_all(host_.documents());
        writeTo(host_.file(name), fileOf(sampleEvents(1, 3)));
        std::unique_ptr<EventsRepository> queue;
        {
            const NoMoreFiles limit;
            queue = open();
        }
        bool isSaved = false;
        queue->add(sampleEvent(4),
                   [&](const auto& result) { isSaved = result.event() != nullptr; });
        EXPECT_TRUE(isSaved) << name;
        EXPECT_EQ(contentsOf(host_.file("queue")), fileOf(sampleEvents(4, 1))) << name;
        ASSERT_EQ(putBy().size(), 1U) << name;
        std::filesystem::copy(host_.file(putBy()[0]), host_.file("copy"));
        {
            // Still not, this time.
            const NoMoreFiles limit;
            takeInLeftovers(*queue, host_.file("queue"));
        }
        EXPECT_EQ(waiting(), (Numbers{1, 2, 3, 4})) << name;
        EXPECT_TRUE(putBy().empty()) << name;
        // Killed before the removal.
        std::filesystem::rename(host_.file("copy"), host_.file("queue.unread-7"));
        EXPECT_EQ(waiting(), (Numbers{1, 2, 3, 4})) << name;
    }
}

TEST_F(LeftoversTest, SeveralAreTakenInInTheirOrderAndADamagedOneIsSetAside) {
    writeTo(host_.file("queue"), fileOf(sampleEvents(5, 2)));
    writeTo(host_.file("queue.unread-20"), fileOf(sampleEvents(4, 2)));
    writeTo(host_.file("queue.unread-10"), fileOf(sampleEvents(1, 2)));
    writeTo(host_.file("queue.unread-15"), "[{");
    writeTo(host_.file(".queue.under-way"), fileOf(sampleEvents(3, 3)));
    const auto queue = open();
    EXPECT_EQ(contentsOf(host_.file("queue")), fileOf(sampleEvents(1, 6)));
    EXPECT_EQ(counts_.restored, 6);
    EXPECT_EQ(counts_.waiting, 6);
    EXPECT_TRUE(putBy().empty());
    EXPECT_EQ(namesIn(host_.documents()).size(), 3U) << "the list, its spare, the damaged one";
}

TEST_F(LeftoversTest, OneThatCannotBeSavedInTheQueueStays) {
    writeTo(host_.file("queue.unread-10"), fileOf(sampleEvents(1, 2)));
    writeTo(host_.file(".queue.spare") / "in-the-way", "");
    EXPECT_EQ(waiting(), Numbers());
    std::filesystem::remove_all(host_.file(".queue.spare"));
    EXPECT_EQ(waiting(), (Numbers{1, 2}));
}

}  // namespace
}  // namespace zentara
