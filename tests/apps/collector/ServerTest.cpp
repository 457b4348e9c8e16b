#include "collector/Server.h"

#include <gmock/gmock.h>
#include <httplib.h>

#include <boost/json/parse.hpp>
#include <stdexcept>
#include <thread>
#include <vector>

#include "apps/collector/Samples.h"

namespace zentara::collector {
namespace {

class ServerTest : public testing::Test {
  protected:
    httplib::Client client() const { return httplib::Client("127.0.0.1", port); }

    boost::json::value summary() const {
        return boost::json::parse(client().Get("/received/summary")->body);
    }

    Store store;
    Services services{store, {}};
    Server server{services};
    const int port = server.start(0);
};

TEST_F(ServerTest, EnvelopesOfManyClientsAllArriveOnce) {
    constexpr int clients = 8;
    constexpr int posts = 40;
    std::vector<std::thread> threads;
    threads.reserve(clients);
    for (int number = 0; number < clients; ++number) {
        threads.emplace_back([&, number] {
            auto http = client();
            http.set_keep_alive(true);
            http.set_tcp_nodelay(true);
            for (int post = 0; post < posts; ++post) {
                const auto uuid = std::to_string(number) + "-" + std::to_string(post);
                const auto response = http.Post(
                    "/event", samples::envelope(samples::action("a", uuid)), "application/json");
                ASSERT_TRUE(response);
                ASSERT_EQ(response->status, 200) << response->body;
                if (post % 10 == 0) {
                    const auto events = http.Get("/received/events?limit=5");
                    ASSERT_TRUE(events);
                    ASSERT_EQ(events->status, 200);
                }
            }
        });
    }
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(summary().at("events"), clients * posts);
    EXPECT_EQ(summary().at("distinctActions"), clients * posts);
}

TEST_F(ServerTest, WhatTheHTTPLibraryRefusesIsAnsweredInJSONAndKept) {
    const std::string large(Server::bodyLimit + 1, ' ');
    const auto announced = client().Post("/event", large, "application/json");
    ASSERT_TRUE(announced);
    EXPECT_EQ(announced->status, 413);
    EXPECT_TRUE(boost::json::parse(announced->body).at("error").is_string());

    const auto chunked = client().Post(
        "/event",
        [&](std::size_t, httplib::DataSink& sink) {
            sink.write(large.data(), large.size());
            sink.done();
            return true;
        },
        "application/json");
    ASSERT_TRUE(chunked);
    EXPECT_EQ(chunked->status, 413);

    const auto longPath = client().Get("/" + std::string(4000, 'a'));
    ASSERT_TRUE(longPath);
    EXPECT_EQ(longPath->status, 414);
    EXPECT_EQ(summary().at("requests"), 3);
    EXPECT_EQ(summary().at("events"), 0);
}

TEST_F(ServerTest, AWrongMethodIsAnsweredAtOnceWithOrWithoutABody) {
    for (const auto& body : {std::string(), std::string("x")}) {
        const auto response = client().Put("/event", body, "text/plain");
        ASSERT_TRUE(response);
        EXPECT_EQ(response->status, 405);
        EXPECT_EQ(response->get_header_value("Allow"), "POST");
    }
}

TEST_F(ServerTest, APortInUseIsAnError) {
    Server second(services);
    EXPECT_THROW(second.start(port), std::runtime_error);
}

TEST_F(ServerTest, AStopEndsListening) {
    ASSERT_TRUE(client().Get("/id"));
    server.stop();
    EXPECT_FALSE(client().Get("/id"));
}

}  // namespace
}  // namespace zentara::collector
