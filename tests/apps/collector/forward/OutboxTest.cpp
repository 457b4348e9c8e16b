#include "collector/forward/Outbox.h"

#include <gmock/gmock.h>

#include "apps/collector/forward/OutboxSamples.h"
#include "support/Files.h"
#include "support/FullDisk.h"

namespace zentara::collector {
namespace {

using samples::add;
using samples::entry;
using samples::settle;
using samples::uuidsIn;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;
using enum Handover::Outcome;

constexpr std::size_t plenty = 1000;
constexpr std::int64_t roomy = 1 << 20;

class OutboxTest : public testing::Test {
  protected:
    const test::TemporaryDirectory folder;
    const std::filesystem::path file = folder.path() / "outbox";
};

TEST_F(OutboxTest, KeepsEventsWithTheirEnvelopeInOrder) {
    {
        Outbox outbox(file, {});
        auto first = entry(1111, "one", {"a", "b"});
        first.findings[1] = R"([{"path":"/x","message":"wrong"}])";
        EXPECT_EQ(add(outbox, std::move(first)), "");
        EXPECT_EQ(add(outbox, entry(2222, "two", {"c"})), "");
    }
    Outbox outbox(file, {});
    const auto batch = outbox.read(plenty, roomy);
    ASSERT_THAT(uuidsIn(batch), ElementsAre("a", "b", "c"));
    const ForwardedEvent& bad = batch->events()[1];
    EXPECT_EQ(bad.receivedAt, 1111);
    EXPECT_FALSE(bad.good);
    EXPECT_EQ(bad.client, "one");
    EXPECT_EQ(bad.tenant, "tenant-of-one");
    EXPECT_EQ(bad.schema, "page-view-1");
    EXPECT_EQ(bad.userType, "GST");
    EXPECT_EQ(bad.userToken, "token-of-one");
    EXPECT_EQ(bad.context, "context-b");
    EXPECT_EQ(bad.sequence, 42);
    EXPECT_EQ(bad.actionTs, 42'000);
    EXPECT_EQ(bad.json, R"({"of":"b"})");
    EXPECT_EQ(bad.record, R"({"schema":"page-view-1","actionUUID":"b","sequence":42,"good":false,)"
                          R"("messages":[{"path":"/x","message":"wrong"}],"clientUUID":"one",)"
                          R"("event":{"of":"b"}})");
    EXPECT_TRUE(batch->events()[2].good);
    EXPECT_EQ(batch->events()[2].client, "two");
    EXPECT_EQ(outbox.statistics().oldest, 1111);
}

TEST_F(OutboxTest, BatchIsLimitedButNeverEmpty) {
    Outbox outbox(file, {});
    (void)add(outbox, entry(1, "one", {"a", "b", "c"}));
    const auto two = outbox.read(2, roomy);
    EXPECT_THAT(uuidsIn(two), ElementsAre("a", "b"));
    EXPECT_THAT(uuidsIn(outbox.read(2, roomy, two.get())), ElementsAre("c"));
    EXPECT_THAT(uuidsIn(outbox.read(plenty, 1)), ElementsAre("a"));
}

TEST_F(OutboxTest, NextEventFollowsOneThatIsGone) {
    Outbox outbox(file, {});
    (void)add(outbox, entry(1, "one", {"a"}));
    const auto first = outbox.read(plenty, roomy);
    ASSERT_EQ(settle(outbox, first, {{delivered}}), "");
    (void)add(outbox, entry(2, "one", {"b"}));
    (void)add(outbox, entry(3, "one", {"c"}));
    EXPECT_THAT(uuidsIn(outbox.read(plenty, roomy, first.get())), ElementsAre("b", "c"));
}

TEST_F(OutboxTest, EachOutcomeHasItsPlace) {
    Outbox outbox(file, {});
    (void)add(outbox, entry(1111, "one", {"a", "b"}));
    (void)add(outbox, entry(2222, "two", {"c", "d"}));
    const auto before = outbox.statistics();
    const auto batch = outbox.read(plenty, roomy);
    ASSERT_EQ(
        settle(outbox, batch, {{delivered}, {delivered}, {failed, "away"}, {refused, "large"}}),
        "");
    EXPECT_THAT(uuidsIn(outbox.read(plenty, roomy)), ElementsAre("c"));
    const auto after = outbox.statistics();
    EXPECT_EQ(after.events, 1);
    EXPECT_EQ(after.refused, 1);
    EXPECT_EQ(after.oldest, 2222);
    EXPECT_LT(after.bytes, before.bytes);

    ASSERT_EQ(settle(outbox, outbox.read(plenty, roomy), {{delivered}}), "");
    EXPECT_THAT(uuidsIn(outbox.read(plenty, roomy)), IsEmpty());
    EXPECT_EQ(outbox.statistics().oldest, 0);
    Database database(file);
    auto kept = database.queryOnce("SELECT reason, record FROM refused");
    ASSERT_TRUE(kept.step());
    EXPECT_EQ(kept.text(0), "large");
    EXPECT_THAT(std::string(kept.text(1)), HasSubstr(R"("actionUUID":"d")"));
    EXPECT_EQ(database.number("SELECT count(*) FROM envelopes"), 0);
}

TEST_F(OutboxTest, CountsAreTheSameAfterARestart) {
    Outbox::Statistics before;
    {
        Outbox outbox(file, {});
        (void)add(outbox, entry(1, "one", {"a", "b", "c"}));
        (void)settle(outbox, outbox.read(plenty, roomy), {{delivered}, {refused, "no"}, {failed}});
        before = outbox.statistics();
    }
    const auto after = Outbox(file, {}).statistics();
    EXPECT_EQ(after.events, 1);
    EXPECT_EQ(after.refused, 1);
    EXPECT_EQ(after.bytes, before.bytes);
    EXPECT_GT(after.bytes, 0);
}

TEST_F(OutboxTest, IsFullByBytesAndByAge) {
    Outbox outbox(file, {.bytes = 600, .age = std::chrono::seconds(10)});
    EXPECT_EQ(outbox.whyFull(50'000), "");
    (void)add(outbox, entry(50'000, "one", {"a"}));
    EXPECT_EQ(outbox.whyFull(59'999), "");
    EXPECT_THAT(outbox.whyFull(60'000), HasSubstr("waits for 10 s"));
    (void)add(outbox, entry(50'001, "one", {"b", "c"}));
    EXPECT_THAT(outbox.whyFull(50'002), HasSubstr("the outbox is full"));
}

TEST_F(OutboxTest, OnlyAnOutboxIsOpenedAndOnlyOnce) {
    const Outbox outbox(file, {});
    EXPECT_THAT([&] { Outbox(file, {}); },
                ThrowsMessage<StoreError>(HasSubstr("in use by another collector")));
    const auto other = folder.path() / "other";
    test::writeTo(other, "not a database");
    EXPECT_THAT([&] { Outbox(other, {}); }, ThrowsMessage<StoreError>(HasSubstr("is not a")));
    EXPECT_EQ(test::contentsOf(other), "not a database");
}

TEST_F(OutboxTest, FullDiskChangesNothing) {
    Outbox outbox(file, {});
    ASSERT_EQ(add(outbox, entry(1, "one", {"a", "b"})), "");
    const auto before = outbox.statistics();
    const auto used = std::filesystem::file_size(file.string() + "-wal");
    auto large = entry(2, "two", {"c", "d"});
    large.findings[1] = '"' + std::string(100'000, 'x') + '"';
    // Room for the beginning of the transaction only.
    test::withFullDisk(used + 20'000, [&] { EXPECT_EQ(add(outbox, large), "disk I/O error"); });
    test::withFullDisk(used, [&] {
        const auto batch = outbox.read(plenty, roomy);
        EXPECT_EQ(settle(outbox, batch, {{delivered}, {failed}}), "disk I/O error");
    });
    EXPECT_EQ(outbox.statistics().events, 2);
    EXPECT_EQ(outbox.statistics().bytes, before.bytes);
    EXPECT_THAT(uuidsIn(outbox.read(plenty, roomy)), ElementsAre("a", "b"));
    EXPECT_EQ(add(outbox, large), "");
    EXPECT_THAT(uuidsIn(outbox.read(plenty, roomy)), ElementsAre("a", "b", "c", "d"));
}

TEST_F(OutboxTest, ManyThreadsShareCommits) {
    constexpr int threads = 8;
    constexpr int each = 50;
    Outbox outbox(file, {.flush = true});
    std::vector<std::jthread> adding;
    for (int thread = 0; thread < threads; ++thread) {
        adding.emplace_back([&outbox, thread] {
            for (int i = 0; i < each; ++i) {
                const std::string name = std::to_string(thread) + "-" + std::to_string(i);
                EXPECT_EQ(add(outbox, entry(1, name, {name})), "");
            }
        });
    }
    adding.clear();
    std::vector<int> next(threads, 0);
    const auto batch = outbox.read(plenty, roomy);
    EXPECT_EQ(batch->events().size(), static_cast<std::size_t>(threads) * each);
    for (const auto& uuid : uuidsIn(batch)) {
        const auto dash = uuid.find('-');
        EXPECT_EQ(std::stoi(uuid.substr(dash + 1)), next.at(std::stoul(uuid.substr(0, dash)))++);
    }
}

}  // namespace
}  // namespace zentara::collector
