#include "dispatch/QueueOpening.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>

#include "dispatch/storage/FileStorage.h"
#include "dispatch/storage/QueueFiles.h"
#include "identity/Token.h"
#include "model/EventDecoder.h"
#include "support/FailingAllocations.h"
#include "support/FaultyDisk.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;
using Numbers = std::vector<std::int64_t>;

class QueueOpeningTest : public testing::Test {
  protected:
    /// The queue of the next run. Runs no background work.
    std::unique_ptr<EventsRepository> open(const std::string& name = "queue") {
        return openSampleQueue(counts_, disk_, name);
    }
    Numbers waiting() { return numbersOf(open()->take(8000)); }

    /// The names of the postponed files.
    std::set<std::string> postponed() {
        auto names = namesIn(host_.documents());
        std::erase_if(names, [](auto& name) { return !name.starts_with("queue.unread-"); });
        return names;
    }

    TestHost host_;
    FaultyDisk disk_;
    Ledger::Queue counts_;
};

TEST_F(QueueOpeningTest, UnreadFileIsRestoredByTheNextStart) {
    for (const std::string name : {"queue", ".queue.under-way", ".queue.checkpoint"}) {
        std::filesystem::remove_all(host_.documents());
        writeTo(host_.file(name), fileOf(sampleEvents(1, 3)));
        disk_.fail({{{DiskCall::open, DiskCall::read}, EMFILE}});
        const auto queue = open();
        disk_.fail({});
        queue->add(sampleEvent(4), [](const auto& result) { EXPECT_TRUE(result.ok()); });
        EXPECT_EQ(contentsOf(host_.file("queue")), fileOf(sampleEvents(4, 1))) << name;
        ASSERT_EQ(postponed().size(), 1U) << name;
        std::filesystem::copy(host_.file(*postponed().begin()), host_.file("copy"));
        EXPECT_EQ(waiting(), (Numbers{1, 2, 3, 4})) << name;
        EXPECT_TRUE(postponed().empty()) << name;
        // Killed before the removal.
        std::filesystem::rename(host_.file("copy"), host_.file("queue.unread-7"));
        EXPECT_EQ(waiting(), (Numbers{1, 2, 3, 4})) << name;
    }
}

TEST_F(QueueOpeningTest, LackOfMemoryIsNotDamage) {
    const Token token{"type", "value", "public"};
    ASSERT_TRUE(FileStorage<Token>(disk_, "token").save(std::span(&token, 1)).ok());
    const QueueFiles queue(disk_, "queue");
    const auto canonical = fileOf(sampleEvents(1, 3));
    for (const auto& contents : {canonical, canonical + "\n"}) {
        writeTo(host_.file("queue"), contents);
        failEachAllocation([&] {
            const auto stored = queue.read(queue.list);
            return stored.state == StoredEvents::State::unread || stored.events.size() == 3;
        });
    }
    writeTo(host_.file("queue"), "");
    failEachAllocation(
        [&] { return queue.read(queue.list).state == StoredEvents::State::missing; });
    failEachAllocation([this] {
        FileStorage<Token> tokens(disk_, "token");
        return tokens.load().ok() || !tokens.save({}).ok();
    });
    EXPECT_EQ(*FileStorage<Token>(disk_, "token").load(), std::vector{token});
}

TEST_F(QueueOpeningTest, EmptyFileCountsAsMissing) {
    for (const auto* name : {"queue", ".queue.under-way", "queue.unread-7"})
        writeTo(host_.file(name), "");
    writeTo(host_.file(".queue.checkpoint"), fileOf(sampleEvents(1, 2)));
    EXPECT_EQ(waiting(), (Numbers{1, 2}));
    EXPECT_EQ(namesIn(host_.documents()),
              (std::set<std::string>{"queue", ".queue.spare", ".queue.checkpoint",
                                     ".queue.under-way", ".queue.boot"}));
}

TEST_F(QueueOpeningTest, UnreadFilesKeepOrderDamagedSetAside) {
    writeTo(host_.file("queue"), fileOf(sampleEvents(5, 2)));
    writeTo(host_.file("queue.unread-20"), fileOf(sampleEvents(2, 2)));
    writeTo(host_.file("queue.unread-10"), fileOf(sampleEvents(1, 2)));
    writeTo(host_.file("queue.unread-15"), "[{");
    writeTo(host_.file(".queue.under-way"), fileOf(sampleEvents(4, 2)));
    writeTo(host_.file(".queue.spare") / "in-the-way", "");
    EXPECT_EQ(waiting(), (Numbers{4, 5, 6}));
    std::filesystem::remove_all(host_.file(".queue.spare"));
    counts_.restored = 0;
    const auto queue = open();
    EXPECT_EQ(contentsOf(host_.file("queue")), fileOf(sampleEvents(1, 6)));
    EXPECT_EQ(counts_.restored, 6);
    EXPECT_EQ(counts_.waiting, 6);
    EXPECT_TRUE(postponed().empty());
    EXPECT_EQ(namesIn(host_.documents()).size(), 4U)
        << "the list, two files beside it and the damaged file";
}

TEST_F(QueueOpeningTest, RestoreRemovesItsSourceOrIsUndone) {
    const std::pair<DiskFault, std::string> cases[] = {
        {{}, ""},
        {{{DiskCall::read}, EIO, 1, "unread-10"}, "Input/output error"},
        {{{DiskCall::flush}, ENOSPC}, "No space left on device"},
        {{{DiskCall::flushFolder}, EIO}, "Input/output error"},
        {{{DiskCall::remove}, EPERM, 1, "unread"}, "Operation not permitted"},
    };
    for (const auto& [fault, cause] : cases) {
        std::filesystem::remove_all(host_.documents());
        writeTo(host_.file("queue"), fileOf(sampleEvents(3, 1)));
        writeTo(host_.file("queue.unread-10"), fileOf(sampleEvents(1, 2)));
        counts_.restored = 0;
        disk_.fail({fault});
        testing::internal::CaptureStderr();
        const auto queue = open();
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  (cause.empty()
                       ? ""
                       : "ZentaraClient: storage: queue.unread-10: broken disk: " + cause + "\n"));
        disk_.fail({});
        EXPECT_EQ(counts_.restored, cause.empty() ? 3 : 1) << cause;
        EXPECT_EQ(queue->take(8000).size(), cause.empty() ? 3U : 1U) << cause;
        EXPECT_EQ(postponed().empty(), cause.empty()) << cause;
    }
}

TEST_F(QueueOpeningTest, KilledMoveLeavesEachEventInOneFolder) {
    writeTo(host_.file("process-2/queue"), fileOf(sampleEvents(2, 2)));
    writeTo(host_.file("process-2/.queue.under-way"), fileOf(sampleEvents(1, 2)));
    writeTo(host_.file("process-2/.queue.checkpoint"), fileOf(sampleEvents(1, 9)));
    writeTo(host_.file("process-2/.queue.boot"), disk_.bootIdentity());
    writeTo(host_.file("process-2/token"), "[]");
    writeTo(host_.file("process-3/.queue.checkpoint"), fileOf(sampleEvents(4, 2)));
    writeTo(host_.file("process-4/queue"), "damaged");
    writeTo(host_.file("process-4/.queue.checkpoint"), "damaged");
    writeTo(host_.file("queue"), fileOf(sampleEvents(6, 1)));
    writeTo(host_.file(".queue.spare") / "in-the-way", "");

    std::vector<std::filesystem::path> moments;
    bool isCopying = false;
    const auto restore = [&] {
        disk_.watch([&](const DiskStep&) {
            if (std::exchange(isCopying, true)) return;
            moments.push_back(host_.documents().parent_path() / std::to_string(moments.size()));
            std::filesystem::copy(host_.documents(), moments.back(),
                                  std::filesystem::copy_options::recursive);
            isCopying = false;
        });
        restoreProcessFolders(disk_, {{"queue", *open()}}, "token");
        disk_.watch(nullptr);
    };
    disk_.fail({{{DiskCall::remove}, EPERM, 1, "checkpoint"}});
    restore();
    EXPECT_TRUE(postponed().empty()) << "the checkpoint would bring the events back";
    disk_.fail({});
    restore();
    EXPECT_EQ(counts_.restored, 0) << "the list cannot be saved";
    std::filesystem::remove_all(host_.file(".queue.spare"));
    restore();
    EXPECT_EQ(numbersOf(decodeEvents(contentsOf(host_.file("queue"))).events),
              (Numbers{1, 2, 3, 4, 5, 6}));
    EXPECT_FALSE(std::filesystem::exists(host_.file("process-2")));
    EXPECT_FALSE(std::filesystem::exists(host_.file("process-3")));
    EXPECT_EQ(namesIn(host_.file("process-4")).size(), 2U) << "kept for inspection";

    // The state after each disk call, as a kill leaves it. Processes that start together open it.
    for (const auto& moment : moments) {
        HostApplication::setDocumentsDirectory(moment);
        std::filesystem::remove_all(moment / ".queue.spare");
        auto found = waiting();
        for (const auto* name : {"process-2/queue", "process-3/queue", "process-4/queue"}) {
            for (const auto number : numbersOf(open(name)->take(8000)))
                found.push_back(number);
        }
        std::sort(found.begin(), found.end());
        EXPECT_EQ(found, (Numbers{1, 2, 3, 4, 5, 6})) << moment;
    }
}

}  // namespace
}  // namespace zentara
