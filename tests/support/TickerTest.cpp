#include "support/threads/Ticker.h"

#include <gtest/gtest.h>

#include <memory>

#include "support/WaitFor.h"

namespace zentara {
namespace {

using test::Signal;
using Clock = TickerProtocol::Clock;

TEST(Ticker, CallsTheHandlerInstalledAtItsStart) {
    const auto first = std::make_shared<Signal>();
    const auto second = std::make_shared<Signal>();
    Ticker ticker;
    ticker.setHandler([first] { first->notify(); });
    ticker.start(Clock::now(), 0.005);
    ticker.setHandler([second] { second->notify(); });
    ASSERT_TRUE(first->waitFor(3));
    EXPECT_EQ(second->count(), 0U);

    ticker.cancel();
    EXPECT_FALSE(ticker.isRunning());
    ticker.start(Clock::now(), 3600);
    ASSERT_TRUE(second->waitFor(1)) << "a deadline of now fires at once, not after the interval";
    EXPECT_TRUE(ticker.isRunning());
}

}  // namespace
}  // namespace zentara
