#include "network/URL.h"

#include <gtest/gtest.h>

namespace zentara {
namespace {

using namespace std::string_literals;

TEST(URLTest, OnlyAbsoluteURLsParse) {
    // clang-format off
    const std::string bad[] = {
        "", "localhost", "localhost:8080", "example.com/path", "/path", "//host/path", "://host",
        "http:", "http:///path", "http:/host", "http://:8080", "http://?query", "http://host:port/",
        "http://host:99999/", "http://[::1", " http://host", "http://host ", "http://host/a b",
        "http://host/\r\nX: y", "http://host/\0x"s, "http://host/\x7f", "http://host/caf\xc3\xa9",
        "http://host/%2", "http://host/%2z", "http://host/<x>", "1http://host",
    };
    // clang-format on
    for (const auto& text : bad)
        EXPECT_FALSE(URL::parse(text)) << '"' << text << '"';
}

TEST(URLTest, SchemeAndHostAreLowerCase) {
    const char* const cases[][3] = {
        {"http://localhost", "http", "localhost"},
        {"HTTPS://User:x@Host.COM:8443/Base/?a=b&c=%20#part", "https", "host.com"},
        {"http://[::1]:80/", "http", "::1"},
        {"file:///tmp/x", "file", ""},
    };
    for (const auto& [text, scheme, host] : cases) {
        const auto url = URL::parse(text).value();
        EXPECT_EQ(url.string(), text);
        EXPECT_EQ(url.scheme(), scheme);
        EXPECT_EQ(url.host(), host);
    }
}

TEST(URLTest, ComponentFollowsExactlyOneSlash) {
    const char* const cases[][3] = {
        {"http://host", "event", "http://host/event"},
        {"http://host/", "event", "http://host/event"},
        {"http://host//", "event", "http://host/event"},
        {"http://host/api/", "event", "http://host/api/event"},
        {"http://host/api", "/event", "http://host/api/event"},
        {"http://host:80?a=b/c#top", "event", "http://host:80/event?a=b/c#top"},
        {"http://host", "a b?c#d%e", "http://host/a%20b%3Fc%23d%25e"},
        {"http://host", "\xc3\xa9", "http://host/%C3%A9"},
        {"file:///", "events", "file:///events"},
    };
    for (const auto& [base, component, expected] : cases) {
        const URL url = URL::parse(base).value().appendingPathComponent(component);
        EXPECT_EQ(url.string(), expected);
        EXPECT_EQ(URL::parse(url.string()), url) << "the result is no URL";
    }
}

}  // namespace
}  // namespace zentara
