#include "support/threads/SerialQueue.h"

#include <gtest/gtest.h>

#include "support/WaitFor.h"

namespace zentara {
namespace {

TEST(SerialQueueTest, LetsOneThreadInAtATime) {
    SerialQueue queue("test");
    int inside = 0;
    int highest = 0;
    const auto enter = [&] {
        const MutexLock entry(queue);
        highest = std::max(highest, ++inside);
        std::this_thread::yield();
        --inside;
    };
    test::inThreads(4, [&](int) {
        for (int i = 0; i < 2000; ++i)
            enter();
    });
    EXPECT_EQ(highest, 1);
}

TEST(SerialQueueDeathTest, EnteringFromInsideNamesTheLabel) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    SerialQueue queue("com.example.label");
    const auto enter = [&](const auto& inside) {
        const MutexLock entry(queue);
        inside();
    };
    EXPECT_DEATH(enter([&] { enter([] {}); }),
                 "fatal error: serial queue \"com.example.label\" entered again");
}

}  // namespace
}  // namespace zentara
