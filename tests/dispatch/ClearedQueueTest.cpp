#include <gtest/gtest.h>

#include <cerrno>

#include "dispatch/QueueOpening.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"
#include "support/WaitFor.h"

namespace zentara {
namespace {

using namespace test;
using Names = std::set<std::string>;

class ClearedQueueTest : public testing::Test {
  protected:
    std::unique_ptr<EventsRepository> open() {
        return openSampleQueue(counts_, disk_, "queue",
                               [this](auto, auto work) { tasks_.push_back(std::move(work)); });
    }
    void runTasks() {
        for (const auto& work : std::exchange(tasks_, {}))
            work();
    }
    static bool add(EventsRepository& queue, std::int64_t number) {
        bool isAdded = false;
        queue.add(sampleEvent(number), [&](const auto& result) { isAdded = result.ok(); });
        return isAdded;
    }
    [[nodiscard]] Names names() const { return namesIn(host_.documents()); }

    TestHost host_;
    FaultyDisk disk_;
    Ledger::Queue counts_;
    std::vector<std::function<void()>> tasks_;
};

TEST_F(ClearedQueueTest, ClearRemovesEveryFileOfTheQueue) {
    const Names others{"queues", "a.queue", ".queue2", "other"};
    for (const auto& name : others)
        writeTo(host_.file(name), "kept");
    const auto queue = open();
    for (int number = 1; number <= 5; ++number)
        ASSERT_TRUE(add(*queue, number));
    runTasks();
    const auto taken = queue->take(2);
    ASSERT_TRUE(add(*queue, 6));
    for (const auto* name :
         {"queue", ".queue.spare", ".queue.checkpoint", ".queue.boot", ".queue.under-way"})
        ASSERT_EQ(names().count(name), 1U) << name;
    for (const auto* name : {"queue.unreadable-7", "queue.unread-8", "..queue.under-way.new",
                             ".queue.new", ".queue.checkpoint-spare"})
        writeTo(host_.file(name), "old");
    ASSERT_TRUE(queue->clear(Admission::open).ok());
    EXPECT_EQ(names(), others);
    runTasks();
    EXPECT_EQ(names(), others) << "a background task brings nothing back";
    EXPECT_EQ(counts_.waiting, 0);
    EXPECT_EQ(counts_.discarded, 4) << "without those in flight";

    ASSERT_TRUE(add(*queue, 7));
    EXPECT_EQ(names().count(".queue.boot"), 1U) << "the next start would look at the checkpoint";
    runTasks();
    EXPECT_EQ(contentsOf(host_.file("queue")), fileOf(sampleEvents(7, 1)));
    EXPECT_EQ(contentsOf(host_.file(".queue.checkpoint")), fileOf(sampleEvents(7, 1)));

    disk_.fail({{{DiskCall::remove}, EPERM, 1, "queue.checkpoint"}});
    EXPECT_FALSE(queue->clear(Admission::open).ok());
    auto left = others;
    left.insert(".queue.checkpoint");
    EXPECT_EQ(names(), left) << "the other files are gone all the same";
}

TEST_F(ClearedQueueTest, ClosedQueueTakesAndWritesNothing) {
    const auto queue = open();
    ASSERT_TRUE(add(*queue, 1));
    ASSERT_TRUE(add(*queue, 2));
    const auto taken = queue->take(1);
    ASSERT_TRUE(queue->clear(Admission::closed).ok());
    Status refusal;
    queue->add(sampleEvent(3), [&](const auto& result) { refusal = result.status(); });
    EXPECT_NE(dynamic_cast<const RepositoryClosedError*>(refusal.error().get()), nullptr);
    queue->insert(taken);
    queue->settle(taken);
    queue->save();
    runTasks();
    EXPECT_TRUE(queue->take(10).empty());
    EXPECT_EQ(names(), Names());
    EXPECT_EQ(counts_.waiting, 0);
    EXPECT_EQ(counts_.discarded, 2) << "the waiting event, and the one put back";

    queue->reopen();
    ASSERT_TRUE(add(*queue, 4));
    EXPECT_EQ(numbersOf(queue->take(10)), std::vector<std::int64_t>{4});
}

TEST_F(ClearedQueueTest, ClearWaitsForARunningCheckpoint) {
    const auto queue = open();
    ASSERT_TRUE(add(*queue, 1));
    Signal isWriting;
    Signal isCleared;
    disk_.watch([&](const DiskStep& step) {
        if (step.call != DiskCall::open || step.path != host_.file(".queue.checkpoint-spare"))
            return;
        isWriting.notify();
        EXPECT_FALSE(isCleared.waitFor(1, std::chrono::milliseconds(50)));
    });
    std::jthread worker([&] { runTasks(); });
    ASSERT_TRUE(isWriting.waitFor());
    EXPECT_TRUE(queue->clear(Admission::open).ok());
    isCleared.notify();
    worker.join();
    EXPECT_EQ(names(), Names());
}

}  // namespace
}  // namespace zentara
