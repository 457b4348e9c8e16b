#include "dispatch/storage/InternalEventStorageImpl.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <functional>

#include "dispatch/storage/QueueFiles.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using Duration = std::chrono::steady_clock::duration;

class InternalEventStorageTest : public testing::Test {
  protected:
    [[nodiscard]] std::shared_ptr<InternalEventStorageImpl> storage() {
        return InternalEventStorageImpl::create(
            disk_, "queue", std::chrono::seconds(10),
            [this](Duration delay, auto work) { tasks_.emplace_back(delay, std::move(work)); });
    }

    /// Saves a list of the first events.
    void begin(std::int64_t count) {
        list_ = EventList(sampleEvents(1, count));
        save();
    }
    std::vector<InternalEvent> takeFront(std::size_t count) {
        const auto front = list_.events().first(count);
        std::vector<InternalEvent> taken(front.begin(), front.end());
        list_.dropFront(count);
        return taken;
    }

    void save() { ASSERT_TRUE(store_->save(list_).ok()); }

    /// Runs the background work that is due within `longest`.
    void runTasks(Duration longest = Duration::max()) {
        for (auto& [delay, work] : std::exchange(tasks_, {})) {
            if (delay <= longest) {
                work();
            } else {
                tasks_.emplace_back(delay, std::move(work));
            }
        }
    }

    [[nodiscard]] std::string file() const { return contentsOf(host_.file("queue")); }

    TestHost host_;
    FaultyDisk disk_;
    std::vector<std::pair<Duration, std::function<void()>>> tasks_;
    const std::shared_ptr<InternalEventStorageImpl> store_ = storage();
    EventList list_;
};

TEST_F(InternalEventStorageTest, SaveOfAnUnchangedListWritesNothing) {
    begin(3);
    disk_.watch([](const DiskStep& step) { ADD_FAILURE() << step.path; });
    save();
    const auto batch = takeFront(2);
    list_.insertAtFront(batch);
    save();
}

TEST_F(InternalEventStorageTest, ForeignChangesAreOverwritten) {
    const auto queue = host_.file("queue");
    const auto overwrite = [&] {
        std::fstream(queue).seekp(static_cast<std::streamoff>(file().size() * 3 / 4)) << "not ours";
        // The clock of files may be too coarse to show the change.
        std::filesystem::last_write_time(queue, std::chrono::file_clock::now());
    };
    const auto cut = [&] {
        std::filesystem::resize_file(queue, file().size() * 3 / 4);
    };
    const std::function<void()> changes[] = {
        overwrite,
        cut,
        [&] { std::ofstream(queue) << "[]"; },
        [&] { std::filesystem::remove(queue); },
        [&] { std::filesystem::remove(host_.file(".queue.spare")); },
        [&] { std::ofstream(host_.file(".queue.spare"), std::ios::app) << "not ours"; },
        [&] { std::filesystem::remove_all(host_.documents()); },
        [&] {
            writeTo(host_.file("other"), "[]");
            std::filesystem::rename(host_.file("other"), queue);
        },
        [&] { EXPECT_TRUE(storage()->save(EventList(sampleEvents(100, 2))).ok()); },
    };
    // Short events are appended. Of long events one is dropped each time.
    for (const std::size_t length : {1U, 100'000U}) {
        auto store = storage();
        EventList list;
        std::int64_t last = 0;
        const auto save = [&] {
            EXPECT_TRUE(store->save(list).ok());
            EXPECT_TRUE(file() == fileOf(list.events())) << length;
        };
        const auto saveOneMore = [&] {
            list.append(sampleEvent(++last, {}, {{"text", std::string(length, 'x')}}));
            if (length > 1 && last > 20) list.dropFront(1);
            save();
        };
        for (int i = 0; i < 22; ++i)
            saveOneMore();
        for (const auto& change : changes) {
            for (int i = 0; i < 3; ++i) {
                if (i < 2) change();
                saveOneMore();
            }
            change();
            save();
            runTasks();
            saveOneMore();
        }
    }
}

TEST_F(InternalEventStorageTest, FailedExchangeLeavesTheOldFile) {
    begin(3);
    for (std::int64_t number = 4; number < 20; number += 2) {
        const auto before = file();
        const bool isDone = number % 4 == 0;
        disk_.fail({{{DiskCall::rename}, EIO, 100, {}, isDone}});
        list_.append(sampleEvent(number));
        EXPECT_EQ(store_->save(list_).ok(), isDone);
        EXPECT_EQ(file(), isDone ? fileOf(list_.events()) : before);
        list_.append(sampleEvent(number + 1));
        save();
        EXPECT_EQ(file(), fileOf(list_.events()));
    }
}

TEST_F(InternalEventStorageTest, SpareIsPreparedInTheBackground) {
    begin(50);
    list_.dropFront(10);
    save();
    EXPECT_NE(contentsOf(host_.file(".queue.spare")), file());
    runTasks();
    EXPECT_EQ(contentsOf(host_.file(".queue.spare")), file());
    // A full queue drops an event with each new one, so its file is written whole.
    list_.append(takeFront(1).front());
    save();
    runTasks(std::chrono::seconds(1));
    EXPECT_NE(contentsOf(host_.file(".queue.spare")), file());
}

TEST_F(InternalEventStorageTest, RemovalFromTheMiddleRewritesTheFile) {
    begin(5);
    // The first and the third event leave. The count fits a list without the first two.
    const auto front = takeFront(3);
    list_.insertAtFront(std::span(front).subspan(1, 1));
    list_.append(sampleEvent(6));
    save();
    EXPECT_EQ(file(), fileOf(list_.events()));
}

TEST_F(InternalEventStorageTest, OneCheckpointIsWrittenPerInterval) {
    begin(1);
    ASSERT_EQ(tasks_.size(), 1U) << "the first change is flushed at once";
    EXPECT_EQ(tasks_[0].first, Duration::zero());
    runTasks();
    EXPECT_EQ(contentsOf(host_.file(".queue.checkpoint")), file());

    for (std::int64_t number = 2; number < 40; ++number) {
        list_.append(sampleEvent(number));
        save();
    }
    ASSERT_EQ(tasks_.size(), 1U) << "all later changes wait for the next interval";
    EXPECT_GT(tasks_[0].first, std::chrono::seconds(5));
    EXPECT_LE(tasks_[0].first, std::chrono::seconds(10));
    runTasks();
    EXPECT_EQ(contentsOf(host_.file(".queue.checkpoint")), file());
    save();
    EXPECT_EQ(tasks_.size(), 0U) << "nothing changed, nothing to flush";
}

TEST_F(InternalEventStorageTest, FileTooLargeToReadIsNotWritten) {
    begin(1);
    const auto large = sampleEvent(2, {}, {{"text", std::string(1'000'000, 'x')}}).packed();
    while (list_.size() < 540)
        list_.append(large);
    InFlightFile inFlight(QueueFiles(disk_, "queue"));
    for (const auto& status : {store_->save(list_), inFlight.save(list_.events())}) {
        ASSERT_FALSE(status.ok());
        EXPECT_EQ(status.error()->description(), "the file would be larger than 512 MiB");
    }
    EXPECT_EQ(file(), fileOf(sampleEvents(1, 1)));
}

TEST_F(InternalEventStorageTest, CheckpointHoldsBatchesUntilSettled) {
    const auto checkpoint = [&] {
        runTasks();
        return contentsOf(host_.file(".queue.checkpoint"));
    };
    store_->recover();
    begin(3);
    store_->setInFlight(takeFront(2));
    list_.append(sampleEvent(4));
    save();
    EXPECT_EQ(checkpoint(), fileOf(sampleEvents(1, 4)));
    store_->setInFlight({});
    EXPECT_EQ(checkpoint(), fileOf(sampleEvents(3, 2)));
    ASSERT_TRUE(store_->save(EventList()).ok());
    // The process ends before the next checkpoint.
    tasks_.clear();
    auto next = storage();
    next->recover();
    EXPECT_TRUE(next->load()->empty());
    EXPECT_EQ(checkpoint(), "[]");

    ASSERT_TRUE(next->save(EventList(sampleEvents(5, 2))).ok());
    EXPECT_EQ(checkpoint(), fileOf(sampleEvents(5, 2)));
    ASSERT_TRUE(next->save(EventList()).ok());
    next->setInFlight({});
    EXPECT_FALSE(std::filesystem::exists(host_.file(".queue.checkpoint")));
    ASSERT_TRUE(next->save(EventList(sampleEvents(7, 1))).ok());
    EXPECT_EQ(checkpoint(), fileOf(sampleEvents(7, 1)));
}

TEST_F(InternalEventStorageTest, DamagedCheckpointIsNeverOverwritten) {
    writeTo(host_.file(".queue.checkpoint"), "damaged");
    disk_.fail({{{DiskCall::rename}, EIO, 1, "checkpoint"}});
    store_->recover();
    EXPECT_TRUE(isFailing(Component::storage));
    ASSERT_TRUE(store_->load().ok());
    begin(2);
    store_->setInFlight({});
    runTasks();
    EXPECT_EQ(contentsOf(host_.file(".queue.checkpoint")), "damaged");
    list_ = EventList();
    save();
    store_->setInFlight({});
    EXPECT_EQ(contentsOf(host_.file(".queue.checkpoint")), "damaged");
    disk_.fail({});
    begin(3);
    runTasks();
    EXPECT_EQ(contentsOf(host_.file(".queue.checkpoint")), file());
    EXPECT_FALSE(isFailing(Component::storage));
    const auto names = namesIn(host_.documents());
    const auto aside = names.lower_bound("queue.unreadable-");
    ASSERT_NE(aside, names.end());
    EXPECT_EQ(contentsOf(host_.file(*aside)), "damaged");
}

TEST_F(InternalEventStorageTest, DamagedListIsNeverOverwritten) {
    for (const auto* const name : {"queue", ".queue.under-way"})
        writeTo(host_.file(name), "damaged");
    const auto failOneRename = [this] {
        disk_.fail({{{DiskCall::rename}, EIO, 1000}});
    };
    const auto events = sampleEvents(1, 1);
    InFlightFile inFlight(QueueFiles(disk_, "queue"));
    failOneRename();
    EXPECT_FALSE(inFlight.load().ok());
    failOneRename();
    store_->recover();
    failOneRename();
    EXPECT_FALSE(store_->save(EventList(events)).ok());
    for (const auto& status : {inFlight.save(events), inFlight.save({})})
        EXPECT_FALSE(status.ok());
    for (const auto* const name : {"queue", ".queue.under-way"})
        EXPECT_EQ(contentsOf(host_.file(name)), "damaged");
    EXPECT_TRUE(store_->save(EventList(events)).ok());
    EXPECT_EQ(file(), fileOf(events));
}

TEST_F(InternalEventStorageTest, FolderInPlaceOfTheFileIsSetAside) {
    writeTo(host_.file("queue") / "in-the-way", "");
    store_->recover();
    EXPECT_TRUE(store_->load()->empty());
    begin(1);
    EXPECT_EQ(file(), fileOf(list_.events()));
    const auto names = namesIn(host_.documents());
    const auto aside = names.lower_bound("queue.unreadable-");
    ASSERT_NE(aside, names.end());
    EXPECT_TRUE(std::filesystem::exists(host_.file(*aside) / "in-the-way"));
}

}  // namespace
}  // namespace zentara
