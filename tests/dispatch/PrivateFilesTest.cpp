#include <gtest/gtest.h>
#include <sys/stat.h>

#include "dispatch/storage/FileStorage.h"
#include "identity/Token.h"
#include "support/Files.h"
#include "support/SampleEvents.h"
#include "support/TestHost.h"
#include "support/UserDefaults.h"

namespace zentara {
namespace {

using namespace test;

/// Lets every store write, the queue's often enough for each of its files to have had both names.
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
    UserDefaults().set("key", std::int64_t{1});
}

TEST(PrivateFilesTest, NothingIsWrittenToWhatLiesInThePlaceOfAFile) {
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
    for (const std::string obstacle :
         {"nothing", "a link", "a second name", "a file for all to read"}) {
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
            if (obstacle == "a file for all to read") fs::copy_file(victim, root / place);
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
