#include "collector/Store.h"

#include <gmock/gmock.h>

#include <boost/json/parse.hpp>

#include "apps/collector/Samples.h"

namespace zentara::collector {
namespace {

using testing::ElementsAre;
using testing::Pair;

class StoreTest : public testing::Test {
  protected:
    void post(const std::string& actions) {
        auto request = samples::request("POST", "/event", samples::envelope(actions));
        request.headers.emplace_back("Cookie", "qvn_uid=1;GST=tok;hsid=2;");
        (void)store.addEnvelope(request, std::get<Envelope>(readEnvelope(request.body)));
    }

    Store store;
};

TEST_F(StoreTest, ASecondArrivalOfAnActionIsADuplicateAlsoWithinAnEnvelope) {
    post(samples::action("a", "u1") + "," + samples::action("a", "u1"));
    post(samples::action("b", "u2") + "," + samples::action("a", "u1"));

    const auto summary = store.summary();
    EXPECT_EQ(summary.envelopes, 2U);
    EXPECT_EQ(summary.events, 4U);
    EXPECT_EQ(summary.distinctActions, 2U);
    EXPECT_THAT(summary.eventsBySchema, ElementsAre(Pair("a-1", 3), Pair("b-1", 1)));

    std::string duplicates;
    for (const auto& record : store.events({}).records) {
        duplicates += boost::json::parse(*record).at("duplicate").as_bool() ? 'd' : '.';
    }
    EXPECT_EQ(duplicates, ".d.d");
}

TEST_F(StoreTest, AnEventIsShownWithTheFactsOfItsEnvelope) {
    post(samples::action("a", "u1"));
    const auto event = boost::json::parse(*store.events({}).records.at(0));
    EXPECT_EQ(event.at("clientUUID"), "client-1");
    EXPECT_EQ(event.at("dispatchNumber"), 3);
    EXPECT_EQ(event.at("sequence"), 7);
    EXPECT_EQ(event.at("user"), (boost::json::value{{"type", "GST"}, {"token", "tok"}}));
    EXPECT_EQ(event.at("event"), boost::json::parse(samples::action("a", "u1")));
}

TEST_F(StoreTest, AnEnvelopeIsShownByteByByteAsPosted) {
    const std::string body = samples::envelope("\n  " + samples::action("a", "u\\u0031\\/") + " ");
    const auto request = samples::request("POST", "/event", body);
    (void)store.addEnvelope(request, std::get<Envelope>(readEnvelope(body)));
    EXPECT_THAT(*store.envelopes({}).records.at(0), testing::HasSubstr(body));
}

TEST_F(StoreTest, ASelectionCountsAllThatMatchAndShowsAPart) {
    for (const char* uuid : {"1", "2", "3", "4"}) {
        post(samples::action("a", uuid) + "," + samples::action("b", std::string("b") + uuid));
    }
    const auto page = store.events({.schema = "b-1", .offset = 1, .limit = 2});
    EXPECT_EQ(page.total, 4U);
    std::vector<std::string> uuids;
    for (const auto& record : page.records) {
        uuids.emplace_back(boost::json::parse(*record).at("actionUUID").as_string());
    }
    EXPECT_THAT(uuids, ElementsAre("b2", "b3"));
}

TEST_F(StoreTest, OnlyTheLatestRequestsAreKeptButAllAreCounted) {
    auto request = samples::request("GET", "/id");
    for (std::size_t number = 0; number <= Store::requestCapacity; ++number) {
        request.receivedAt = static_cast<std::int64_t>(number);
        store.addRequest(request, 200, "");
    }
    const auto page = store.requests({});
    EXPECT_EQ(page.total, Store::requestCapacity);
    EXPECT_EQ(boost::json::parse(*page.records.at(0)).at("receivedAt"), 1);
    EXPECT_EQ(store.summary().requests, Store::requestCapacity + 1);
}

TEST_F(StoreTest, AResetForgetsAlsoWhichActionsWereSeen) {
    post(samples::action("a", "u1"));
    store.reset();
    EXPECT_EQ(store.summary().events, 0U);
    post(samples::action("a", "u1"));
    EXPECT_EQ(store.summary().distinctActions, 1U);
    EXPECT_EQ(store.summary().events, 1U);
}

}  // namespace
}  // namespace zentara::collector
