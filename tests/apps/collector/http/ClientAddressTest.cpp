#include "collector/http/ClientAddress.h"

#include <gtest/gtest.h>

#include "collector/http/RequestRate.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;

TEST(ClientAddressTest, TrustedProxyNamesTheClient) {
    const std::vector<std::string> proxies{"10.0.0.1", "2001:db8::1"};
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"10.0.0.9", "1.2.3.4", "10.0.0.9"},
        {"10.0.0.1", "", "10.0.0.1"},
        {"10.0.0.1", "1.2.3.4", "1.2.3.4"},
        {"10.0.0.1", "6.6.6.6, 1.2.3.4", "1.2.3.4"},
        {"10.0.0.1", "1.2.3.4, 2001:DB8:0::1", "1.2.3.4"},
        {"2001:db8::1", " 1.2.3.4:80 ", "1.2.3.4"},
        {"10.0.0.1", "[2001:db8::2]:80", "2001:db8::2"},
        {"10.0.0.1", "::ffff:1.2.3.4", "1.2.3.4"},
        {"10.0.0.1", "1.2.3.4, unknown", "10.0.0.1"},
        {"10.0.0.1", "10.0.0.1", "10.0.0.1"},
        {"10.0.0.1", ",", "10.0.0.1"},
        {"10.0.0.1", "[", "10.0.0.1"},
    };
    for (const auto& [peer, forwarded, client] : cases) {
        HttpRequest head;
        head.client = peer;
        head.headers = {{"x-forwarded-for", forwarded}};
        EXPECT_EQ(clientOf(head, proxies), client) << peer << " " << forwarded;
    }
    HttpRequest head;
    head.client = "10.0.0.1";
    head.headers = {{"X-Forwarded-For", "6.6.6.6"}, {"X-Forwarded-For", "1.2.3.4"}};
    EXPECT_EQ(clientOf(head, proxies), "1.2.3.4");
}

TEST(ClientAddressTest, NetworkOfIPv6CountsAsOneClient) {
    EXPECT_EQ(addressGroup("1.2.3.4"), "1.2.3.4");
    EXPECT_EQ(addressGroup("2001:db8:0:1:2:3:4:5"), "2001:db8:0:1::/64");
    EXPECT_EQ(addressGroup("2001:db8:0:2::5"), "2001:db8:0:2::/64");
}

TEST(RequestRateTest, BurstIsFollowedByAnEvenPace) {
    RequestRate::Clock::time_point now{};
    RequestRate rate(4, 10, [&now] { return now; });
    for (int request = 0; request < 4; ++request)
        EXPECT_EQ(rate.take("a"), std::nullopt);
    EXPECT_EQ(rate.take("a"), 250ms);
    EXPECT_EQ(rate.take("b"), std::nullopt);
    now += 249ms;
    EXPECT_EQ(rate.take("a"), 1ms);
    now += 1ms;
    EXPECT_EQ(rate.take("a"), std::nullopt);
    EXPECT_EQ(rate.take("a"), 250ms);
    now += 1h;
    for (int request = 0; request < 4; ++request)
        EXPECT_EQ(rate.take("a"), std::nullopt);
    EXPECT_EQ(rate.take("a"), 250ms);
}

TEST(RequestRateTest, MemoryIsBounded) {
    RequestRate::Clock::time_point now{};
    RequestRate rate(0.5, 3, [&now] { return now; });
    for (const char* client : {"a", "b", "c", "d", "d"})
        EXPECT_EQ(rate.take(client), std::nullopt) << client;
    EXPECT_EQ(rate.clients(), 3U);
    EXPECT_EQ(rate.take("a"), 2s);
    now += 2s;
    EXPECT_EQ(rate.take("d"), std::nullopt);
    EXPECT_EQ(rate.take("d"), 2s);
    EXPECT_EQ(rate.clients(), 1U);
}

}  // namespace
}  // namespace zentara::collector
