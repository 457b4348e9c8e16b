#include "platform/SerialQueue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

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
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 2000; ++j)
                queue.sync(enter);
        });
    }
    for (auto& thread : threads)
        thread.join();
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
