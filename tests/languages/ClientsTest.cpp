#include <gmock/gmock.h>
#include <zentara/CollectorClient.h>

#include <regex>
#include <string>

#include "languages/PostedEvents.h"
#include "support/ChildProcess.h"

namespace zentara {
namespace {

using collector::CollectorClient;
using collector::EventSelection;
using namespace std::chrono_literals;

/// The message with which a call fails.
template <typename Call>
std::string failureOf(Call call) {
    try {
        call();
    } catch (const collector::ExpectationError& error) {
        return std::string("ExpectationError: ") + error.what();
    } catch (const collector::CollectorError& error) {
        return std::string("CollectorError: ") + error.what();
    }
    return "no failure";
}

std::string uuidsOf(const std::vector<JSONObject>& events) {
    std::string uuids;
    for (const auto& event : events)
        uuids += " " + std::string(event.at("actionUUID").string());
    return uuids;
}

/// What the program of each other language prints.
std::vector<std::string> linesOf(const CollectorClient& client) {
    using Verdict = EventSelection::Verdict;
    const EventSelection unmatched = {.schema = "page-view-1",
                                      .user = "GST=guest-1",
                                      .tenant = "shop & co",
                                      .context = "context-1",
                                      .client = "client-1",
                                      .text = "~Hôme's *(1)!",
                                      .since = 17,
                                      .after = 1,
                                      .duplicate = false,
                                      .verdict = Verdict::any};
    const auto found = client.waitFor({.text = "(1) hôme"}, 1, 1min);
    const auto all = client.waitFor({.verdict = Verdict::any}, 4, 1ms);
    const auto summary = client.summary();
    client.setFault("event", {{"answer", "status"}, {"status", 501}});
    const auto status = client.get("/faults").at("event").at("status").text();
    client.clearFaults();
    return {
        "found" + std::to_string(found.total) + uuidsOf(found.events),
        (all.satisfied ? "satisfied" : "not satisfied") + uuidsOf(all.events),
        "expected" + uuidsOf({client.expectEvent({.user = "guest-1", .after = 1})}),
        "bad" + uuidsOf(client.events({.verdict = Verdict::bad})),
        "good" + std::to_string(client.count({.duplicate = false})),
        std::to_string(summary.requests) + " " + std::to_string(summary.envelopes) + " " +
            std::to_string(summary.events) + " " + std::to_string(summary.good) + " " +
            std::to_string(summary.bad) + " " + std::to_string(summary.distinctActions) + " " +
            std::to_string(summary.duplicates) + " " + std::to_string(summary.missing) + " " +
            std::to_string(summary.lastNumber),
        "status " + status,
        client.get("/faults").at("event").isNull() ? "no fault" : "a fault",
        failureOf([&] { client.expectEvent(unmatched, 1ms); }),
        failureOf([&] {
            client.expectEvent({.properties = {{"loadMs", "7"}, {"a=b.ü", "null"}}}, 1ms);
        }),
        failureOf([&] { client.expectNoEvent({.text = "Offers"}, 1ms); }),
        failureOf([&] { client.expectNoEvent({.tenant = "shop"}); }),
        failureOf([&] { (void)client.get("/received/nothing"); }),
        // Newer versions of curl spell it out.
        std::regex_replace(
            failureOf([&] { (void)CollectorClient("http://127.0.0.1:2/").count({}); }),
            std::regex("Could not connect"), "Couldn't connect"),
    };
}

/// A language, and the command of its program.
using Host = std::pair<std::string, std::vector<std::string>>;

class ClientsTest : public testing::TestWithParam<Host> {};

TEST_P(ClientsTest, SameCallsGiveTheSameTexts) {
    const test::PostedEvents events;
    // So that the counts of the summary differ.
    for (int time = 0; time < 4; ++time)
        events.postDuplicate();
    events.refuse();
    events.refuse();
    const auto expected = linesOf(events.client());
    auto command = GetParam().second;
    command.push_back(events.url());
    test::ChildProcess host(command);
    EXPECT_THAT(host.readLines(), testing::ElementsAreArray(expected));
    EXPECT_EQ(host.wait(), 0);
    EXPECT_EQ(events.client().summary().events, 0U) << "the last call removes everything";
}

std::vector<Host> clientHosts() {
    return {ZENTARA_CLIENTS};
}

INSTANTIATE_TEST_SUITE_P(Hosts, ClientsTest, testing::ValuesIn(clientHosts()),
                         [](const auto& host) { return host.param.first; });

}  // namespace
}  // namespace zentara
