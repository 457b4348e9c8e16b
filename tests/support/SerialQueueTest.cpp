#include "support/threads/SerialQueue.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "support/WaitFor.h"

namespace zentara {
namespace {

TEST(SerialQueueTest, RunsOneBlockAtATimeAlsoAfterAThrow) {
    SerialQueue queue("test");
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("no"); }), std::runtime_error);
    int inside = 0;
    int highest = 0;
    const auto enter = [&] {
        highest = std::max(highest, ++inside);
        std::this_thread::yield();
        --inside;
    };
    test::inThreads(4, [&](int) {
        for (int i = 0; i < 2000; ++i)
            queue.sync(enter);
    });
    EXPECT_EQ(highest, 1);
}

TEST(SerialQueueDeathTest, EnteringFromInsideNamesTheLabel) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    SerialQueue queue("com.example.label");
    EXPECT_DEATH(queue.sync([&] { queue.sync([] {}); }),
                 "fatal error: serial queue \"com.example.label\" entered again");
}

}  // namespace
}  // namespace zentara
