#include "dispatch/storage/FileStorage.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "identity/Token.h"
#include "platform/UserDefaults.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"

namespace zentara {
namespace {

using namespace test;

class FileStorageTest : public testing::Test {
  protected:
    TestHost host_;
    FileStorage<Token> storage_{systemFiles(), "tokens"};
};

TEST_F(FileStorageTest, ListIsStoredAsCompactJSON) {
    EXPECT_TRUE(storage_.load()->empty());
    EXPECT_FALSE(SchemasStorage(systemFiles(), "tokens").load().ok());
    EXPECT_FALSE(std::filesystem::exists(host_.documents())) << "reading creates no folder";

    const Token tokens[] = {{"a", "b/c", "d"}, {"e", "f", "g"}};
    ASSERT_TRUE(storage_.save(tokens).ok());
    EXPECT_EQ(contentsOf(host_.file("tokens")), R"([{"type":"a","value":"b/c","publicValue":"d"},)"
                                                R"({"type":"e","value":"f","publicValue":"g"}])");
    EXPECT_EQ(*storage_.load(), std::vector(std::begin(tokens), std::end(tokens)));
    EXPECT_EQ(namesIn(host_.documents()), std::set<std::string>{"tokens"});
}

TEST_F(FileStorageTest, InvalidRecordsAreLeftOutBadJSONFails) {
    const std::tuple<const char*, std::size_t, bool> cases[] = {
        {R"([{"type":"a","value":"b","publicValue":"c"},{"type":1}])", 1, false},
        {R"({"type":"a"})", 0, false},
        {"[1,2]", 0, false},
        {"[]", 0, false},
        {R"([{"type":"a","va)", 0, true},
        {"", 0, true},
    };
    for (const auto& [file, records, fails] : cases) {
        writeTo(host_.file("tokens"), file);
        const auto loaded = storage_.load();
        ASSERT_EQ(loaded.ok(), !fails) << file;
        EXPECT_EQ(loaded.ok() ? loaded->size() : 0, records) << file;
    }
}

/// Makes every store write, the queue's often enough to give each of its files both names.
void writeEverything() {
    std::vector<std::function<void()>> tasks;
    Ledger::Queue counts;
    const auto queue = openSampleQueue(counts, systemFiles(), "queue", [&tasks](auto, auto task) {
        tasks.push_back(std::move(task));
    });
    for (std::int64_t number = 1; number <= 6; ++number) {
        if (number == 4) static_cast<void>(queue->take(1));
        queue->add(sampleEvent(number), [](const auto& result) { EXPECT_TRUE(result.ok()); });
        for (const auto& task : std::exchange(tasks, {}))
            task();
    }
    const Token token{"qvn_uid", "value", "public"};
    EXPECT_TRUE(FileStorage<Token>(systemFiles(), "token").save(std::span(&token, 1)).ok());
    UserDefaults::current().set({{"key", 1}});
}

TEST(PrivateFilesTest, ObstaclesInPlaceOfFilesAreNotWrittenTo) {
    namespace fs = std::filesystem;
    const fs::path places[] = {
        "documents/queue",
        "documents/.queue.spare",
        "documents/.queue.checkpoint",
        "documents/.queue.checkpoint-spare",
        "documents/.queue.under-way",
        "documents/..queue.under-way.new",
        "documents/token",
        "documents/.token.new",
        "preferences/user-defaults.json",
        "preferences/.user-defaults.json.new",
    };
    for (const std::string obstacle : {"nothing", "a link", "a second name", "a readable file"}) {
        SCOPED_TRACE(obstacle);
        const TestHost host;
        const fs::path root = host.documents().parent_path();
        const auto victimOf = [&](const fs::path& place) {
            return root / "victims" / place.filename();
        };
        for (const auto& place : places) {
            const auto victim = victimOf(place);
            writeTo(victim, place.extension() == ".json" ? "{}" : "[]");
            fs::permissions(victim, fs::perms(0644));
            if (obstacle == "nothing") continue;
            fs::create_directories((root / place).parent_path());
            if (obstacle == "a link") fs::create_symlink(victim, root / place);
            if (obstacle == "a second name") fs::create_hard_link(victim, root / place);
            if (obstacle == "a readable file") fs::copy_file(victim, root / place);
        }
        writeEverything();
        for (const auto& place : places) {
            EXPECT_EQ(contentsOf(victimOf(place)).size(), 2U) << place;
            struct stat status {};
            const bool isThere = ::lstat((root / place).c_str(), &status) == 0;
            EXPECT_EQ(isThere, place.extension() != ".new") << place;
            EXPECT_TRUE(!isThere || status.st_mode == (S_IFREG | 0600U)) << place;
        }
    }
}

}  // namespace
}  // namespace zentara
