#include "platform/SerialQueue.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>
#include <vector>

namespace zentara {
namespace {

TEST(SerialQueueTest, RunsOneBlockAtATimeAndGoesOnAfterOneThatThrows) {
    SerialQueue queue("test");
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("no"); }), std::runtime_error);
    int inside = 0;
    int highest = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 2000; ++j)
                EXPECT_EQ(queue.sync([&] {
                    highest = std::max(highest, ++inside);
                    return --inside;
                }),
                          0);
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
