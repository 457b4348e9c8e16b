#include "collector/data/Store.h"

#include <gmock/gmock.h>

#include <zentara/JSONValue.h>
#include <atomic>

#include "apps/collector/Samples.h"
#include "collector/data/EventRecorder.h"
#include "support/Files.h"
#include "support/FullDisk.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

using test::contentsOf;
using test::withFullDisk;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::StartsWith;
using testing::ThrowsMessage;
namespace fs = std::filesystem;

struct Posted {
    std::string uuid;
    std::string schema = "a-1";
    std::string context = "c-1";
    std::int64_t sequence = 1;
    bool good = true;
    std::string json = "{}";
    std::int64_t actionTs = 0;
};

struct Sender {
    std::string tenant = "shop";
    std::string client = "client-1";
    std::string cookie = "GST=tok";
    std::int64_t receivedAt = 1000;
};

std::vector<Store::Arrival> post(Store& store, const std::vector<Posted>& events,
                                 const Sender& sender = {}, const std::string& fault = {}) {
    auto request = samples::request("POST", "/event", "{}");
    request.receivedAt = sender.receivedAt;
    request.headers.emplace_back("Cookie", sender.cookie);
    Envelope envelope;
    envelope.tenant = sender.tenant;
    envelope.clientUUID = sender.client;
    std::vector<std::vector<Finding>> findings;
    for (const auto& event : events) {
        envelope.actions.push_back({event.schema, event.uuid, event.context, event.sequence,
                                    event.actionTs, event.json, nullptr});
        findings.push_back(event.good ? std::vector<Finding>()
                                      : std::vector<Finding>{{"/price", "is too low"}});
    }
    return store.addEnvelope(request, envelope, findings, {200, "", fault});
}

std::string uuidsOf(const Store::Page& page) {
    std::string uuids;
    for (const auto& record : page.records) {
        if (!uuids.empty()) uuids += ' ';
        uuids += JSONValue::parse(record).at("actionUUID").string();
    }
    return uuids;
}

/// Events of two contexts, one after the other, with gaps and with duplicates around them.
void fill(Store& store) {
    post(store,
         {{"u1", "a-1", "y", 1},
          {"u2", "b-1", "y", 5, false},
          {"u1", "a-1", "y", 9},
          {"u3", "a-1", "x", 8}},
         {}, "event: lost");
    post(store, {{"u1", "a-1", "y", 3}}, {.client = "later"}, "event: lost");
    auto request = samples::request("GET", "/id");
    request.target = "/id?a=\"\xff";
    store.addRequest(request, {503, "no \"luck\"", "id: status 503"});
    const std::string head(Store::refusedBodySize - 1, '[');
    store.addRequest(samples::request("POST", "/event", head + "\u00e9"), {422, "it is deep", ""});
}

/// Adds another event at the end.
void expectFilled(Store& store) {
    const auto all = store.summary();
    EXPECT_EQ(std::tuple(all.requests, all.refused, all.envelopes, all.events, all.good, all.bad),
              std::tuple(4, 1, 2, 5, 4, 1));
    EXPECT_EQ(std::tuple(all.distinctActions, all.duplicates, all.missing, all.lastNumber),
              std::tuple(3, 2, 5, 5));
    EXPECT_THAT(all.eventsBySchema, ElementsAre(Pair("a-1", 4), Pair("b-1", 1)));
    EXPECT_THAT(all.badBySchema, ElementsAre(Pair("b-1", 1)));
    EXPECT_THAT(all.faults, ElementsAre(Pair("event: lost", 2), Pair("id: status 503", 1)));
    const auto failed = JSONValue::parse(store.requests({.fault = true}).records.at(2));
    EXPECT_EQ(failed.at("target"), "/id?a=\"\xc3\xbf");
    EXPECT_EQ(failed.at("reason"), "no \"luck\"");
    EXPECT_EQ(store.requests({.fault = false}).total, 1U);
    EXPECT_EQ(store.requests({.fault = true, .refused = true}).total, 0U);
    const auto refused = JSONValue::parse(store.requests({.refused = true}).records.at(0));
    EXPECT_EQ(refused.at("reason"), "it is deep");
    EXPECT_EQ(refused.at("body").string(), std::string(Store::refusedBodySize - 1, '['));
    EXPECT_THAT(store.gaps(),
                ElementsAre(Gap{"x", "client-1", 6, 7, 2}, Gap{"y", "client-1", 2, 4, 3}));
    EXPECT_EQ(uuidsOf(store.events({})), "u1 u2 u1 u3 u1");
    EXPECT_TRUE(post(store, {{"u2"}})[0].duplicate);
    EXPECT_EQ(store.summary().lastNumber, 6);
}

/// Runs with the database in a file (true) and in memory (false).
class StoreTest : public testing::TestWithParam<bool> {
  protected:
    const test::TemporaryDirectory folder{};
    Store store{GetParam() ? std::make_optional(folder.path() / "events.db") : std::nullopt};
};

INSTANTIATE_TEST_SUITE_P(Places, StoreTest, testing::Bool());

TEST_P(StoreTest, DuplicatesCountButChangeNoGaps) {
    fill(store);
    expectFilled(store);
    store.reset();
    EXPECT_EQ(store.events({}).total + store.requests({}).total + store.envelopes().total, 0U);
    fill(store);
    expectFilled(store);
}

TEST_P(StoreTest, EventHasItsEnvelopesFacts) {
    const std::string body = samples::envelope("\n  " + samples::action("a", "u\\u0031\\/") + " ");
    auto request = samples::request("POST", "/event", body);
    request.headers.emplace_back("Cookie", "qvn_uid=1;GST=tok;hsid=2;");
    const auto envelope = std::get<Envelope>(readEnvelope(body));
    const auto arrivals =
        store.addEnvelope(request, envelope, {{{"/price", "\"5\" is odd"}}}, {200, "", ""});
    post(store, {{"u1/"}});

    const auto page = store.events({});
    EXPECT_EQ(page.records.at(0), arrivals.at(0).record);
    const auto event = JSONValue::parse(page.records[0]);
    EXPECT_EQ(event.at("messages"),
              JSONValue::parse(R"([{"path":"/price","message":"\"5\" is odd"}])"));
    EXPECT_EQ(event.at("user"), (JSONValue{{"type", "GST"}, {"token", "tok"}}));
    EXPECT_EQ(event.at("event"), JSONValue::parse(samples::action("a", "u1/")));
    EXPECT_THAT(store.envelopes().records.at(0), HasSubstr(body)) << "unchanged";

    const auto found = JSONValue::parse(store.event("u1/").value());
    EXPECT_EQ(found.at("event"), event);
    EXPECT_EQ(found.at("arrivals"), (JSONValue{1, 2}));
    EXPECT_EQ(found.at("envelope"), JSONValue::parse(store.envelopes().records[0]));
    EXPECT_EQ(found.at("request"), JSONValue::parse(store.requests({}).records.at(0)));
}

TEST_P(StoreTest, PropertiesAreFoundByPathAndValue) {
    const auto json = [](const char* uuid, const char* text) {
        Posted event{uuid};
        event.json = text;
        return event;
    };
    post(store, {json("1", R"({"properties":{"section":"home","n":5.0,"on":true}})"),
                 json("2", R"({"properties":{"section":"5","a":{"b c":["x","y"]}}})"),
                 json("3", R"({"properties":{"on":null,"n":"5","'\"":"q"}})"),
                 json("4", R"({"section":"home","properties":{"a":"home"}})")});
    const std::vector<std::pair<std::vector<std::pair<std::string, std::string>>, std::string>>
        cases{
            {{{"section", "home"}}, "1"},
            {{{"n", "5"}}, "1 3"},
            {{{"n", "5e0"}}, "1"},
            {{{"on", "true"}}, "1"},
            {{{"on", "null"}}, "3"},
            {{{"a.b c.1", "y"}}, "2"},
            {{{"a.b c", "y"}}, ""},
            {{{"a.b c.*", "y"}}, "2"},
            {{{"a.*", "y"}}, ""},
            {{{"'\"", "q"}}, "3"},
            {{{"section", "home"}, {"n", "5"}}, "1"},
            {{{"section", "home"}, {"n", "6"}}, ""},
        };
    for (const auto& [properties, expected] : cases) {
        EventFilter filter;
        for (const auto& [path, value] : properties)
            ASSERT_TRUE(filter.take("property." + path, value));
        EXPECT_EQ(uuidsOf(store.events({.filter = filter})), expected) << properties.front().first;
        EXPECT_EQ(store.timeline(filter, 1000).buckets.empty(), expected.empty());
    }
    EventFilter filter;
    EXPECT_THROW((void)filter.take("property.", "x"), ParameterError);
    EXPECT_THROW((void)filter.take("property.1.2.3.4.5.6.7.8.9", "x"), ParameterError);
}

TEST_P(StoreTest, LatestAreVisitedUpToTheBounds) {
    std::vector<Posted> events;
    for (int event = 1; event <= 1200; ++event)
        events.push_back({std::to_string(event), event % 2 == 0 ? "a-1" : "b-1", "c", event,
                          event % 3 != 0, std::to_string(event + 1000)});
    post(store, events);
    std::vector<std::string> visited;
    const Store::Visit visit = [&](const Store::StoredText& text) {
        visited.push_back(text.schema + " " + std::to_string(text.number) + " " + text.text);
        (void)store.count({});  // does not wait for a lock
    };
    EXPECT_EQ(store.visitLatest("a-1", visit, {}), 600U);
    EXPECT_EQ(visited.front(), "a-1 1200 2200");
    EXPECT_EQ(visited.back(), "a-1 2 1002");
    EXPECT_EQ(store.visitLatest("a-1", visit, {.events = 501}), 501U);
    EXPECT_EQ(store.visitLatest("a-1", visit, {.bytes = 9}), 3U);
    EXPECT_EQ(store.visitLatest("c-1", visit, {}), 0U);
    visited.clear();
    EXPECT_EQ(store.visitLatestBad(visit, {.events = 2}), 2U);
    const std::string finding = R"([{"path":"/price","message":"is too low"}])";
    EXPECT_THAT(visited, ElementsAre("a-1 1200 " + finding, "b-1 1197 " + finding));
}

TEST_P(StoreTest, FilterAndPageGiveExactlyTheMatches) {
    post(store,
         {{"1", "a-1", "c-1", 30, true, R"({"Text":"100% OFF"})", 7},
          {"2", "b-1", "c-1", 20, true, "{}", 9}},
         {"shop", "client-1", "GST=tok", 3000});
    post(store, {{"3", "a-1", "c-2", 10, false, R"({"text":"a_b\\c"})", 7}, {"1"}},
         {"bank", "client-2", "QVNID=tok; GST=x", 2000});
    post(store,
         {{"4", "'; DROP TABLE events; --", "c\"%", -5, true, R"({"text":"äÄ'\t\"a\""})", 8}},
         {"", "", "other=1", 1000});
    const std::vector<std::pair<EventFilter, std::string>> cases{
        {{}, "1 2 3 1 4"},
        {{.schema = "a-1"}, "1 3 1"},
        {{.schema = "'; DROP TABLE events; --"}, "4"},
        {{.user = "tok"}, "1 2 3 1"},
        {{.user = "QVNID=tok"}, "3 1"},
        {{.tenant = "bank"}, "3 1"},
        {{.context = "c\"%"}, "4"},
        {{.client = "client-1"}, "1 2"},
        {{.good = false}, "3"},
        {{.duplicate = true}, "1"},
        {{.text = "100% oFf"}, "1"},
        {{.text = "%"}, "1"},
        {{.text = "A_B\\C"}, "3"},
        {{.text = "'\t\"A\""}, "4"},
        {{.text = std::string("Text\0", 5)}, ""},
        {{.text = std::string(100'000, '%')}, ""},
        {{.words = {"TEXT", "\\"}}, "3 4"},
        {{.words = {"text", "off"}}, "1"},
        {{.since = 2000, .until = 3000}, "3 1"},
        {{.after = 3}, "1 4"},
        {{.schema = "a-1", .good = true, .duplicate = false}, "1"},
    };
    for (const auto& [filter, expected] : cases) {
        const auto page = store.events({.filter = filter});
        EXPECT_EQ(uuidsOf(page), expected) << conditionFor(filter).text;
        EXPECT_EQ(page.total, page.records.size());
        EXPECT_EQ(store.count(filter), page.total);
        EXPECT_EQ(store.count(filter, 1), std::min<std::size_t>(page.total, 1));
    }

    using Sort = EventQuery::Sort;
    using enum Order;
    const std::vector<std::pair<EventQuery, std::string>> pages{
        {{.offset = 1, .limit = 2}, "2 3"},
        {{.order = descending, .offset = 1, .limit = 2}, "1 3"},
        {{.offset = 9}, ""},
        {{.sort = Sort::receivedAt}, "4 3 1 1 2"},
        {{.sort = Sort::actionTs, .order = descending}, "2 4 3 1 1"},
        {{.sort = Sort::schema, .limit = 3}, "4 1 3"},
        {{.sort = Sort::sequence, .offset = 1}, "1 3 2 1"},
    };
    for (const auto& [query, expected] : pages)
        EXPECT_EQ(uuidsOf(store.events(query)), expected);
    EXPECT_EQ(store.events({.offset = 9}).total, 5U);
    EXPECT_EQ(store.envelopes(1, 5).records.size(), 2U);
    EXPECT_EQ(store.envelopes(1, 5).total, 3U);
}

TEST_P(StoreTest, WritersAndReadersAtOnceSeeWholeEnvelopes) {
    std::atomic<int> writing = 3;
    test::inThreads(4, [&](int thread) {
        const auto context = "c-" + std::to_string(thread);
        for (std::int64_t i = 0; thread > 0 && i < 100; ++i) {
            const auto uuid = context + "-" + std::to_string(i);
            const auto arrivals =
                post(store, {{uuid, "a-1", context, 2 * i}, {uuid, "a-1", "dup", 2 * i}});
            EXPECT_EQ(store.count({.context = context, .after = arrivals[0].number - 1}), 1U);
        }
        writing -= thread > 0 ? 1 : 0;
        while (thread == 0 && writing > 0) {
            const auto page = store.events({.filter = {.schema = "a-1"}});
            EXPECT_EQ(page.total % 2, 0U);
            EXPECT_EQ(page.records.size(), page.total);
        }
    });
    const auto all = store.summary();
    EXPECT_EQ(std::tuple(all.events, all.duplicates, all.missing), std::tuple(600, 300, 297));
}

TEST(StoreInMemoryTest, EmptyRequestsAreCountedAndLatestKept) {
    Store store;
    post(store, {{"u1"}});
    auto request = samples::request("GET", "/id");
    for (std::size_t number = 0; number <= Store::requestCapacity; ++number) {
        request.receivedAt = static_cast<std::int64_t>(number);
        store.addRequest(request, {200, "", ""});
    }
    const auto page = store.requests({.limit = 2});
    EXPECT_EQ(page.total, Store::requestCapacity + 1);
    EXPECT_EQ(JSONValue::parse(page.records.at(0)).at("storedEvents"), 1);
    EXPECT_EQ(JSONValue::parse(page.records.at(1)).at("receivedAt"), 1);
    EXPECT_EQ(store.summary().requests, Store::requestCapacity + 2);

    for (std::size_t number = 0; number <= Store::refusalCapacity; ++number)
        store.addRequest(samples::request("PUT", "/event", std::to_string(number)), {405, "", ""});
    const auto refused = store.requests({.refused = true, .order = Order::descending});
    ASSERT_EQ(refused.total, Store::refusalCapacity);
    EXPECT_EQ(JSONValue::parse(refused.records.front()).at("body"), "1000");
    EXPECT_EQ(JSONValue::parse(refused.records.back()).at("body"), "1");
}

class StoreFileTest : public testing::Test {
  protected:
    const test::TemporaryDirectory folder{};
    const fs::path file = folder.path() / "events.db";
    const fs::path log = folder.path() / "events.db-wal";
};

TEST_F(StoreFileTest, EverythingSurvivesTheEndAndAKill) {
    auto store = std::make_unique<Store>(file);
    fill(*store);
    // A killed process leaves the files as they are now.
    const auto killed = folder.path() / "killed.db";
    fs::copy_file(file, killed);
    fs::copy_file(log, killed.string() + "-wal");
    store.reset();
    // One private file: it holds identities.
    EXPECT_FALSE(fs::exists(log));
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    for (const auto& each : {file, killed}) {
        Store again(each);
        expectFilled(again);
    }
}

TEST_F(StoreFileTest, ResetLeavesNothingOnDisk) {
    Store store(file);
    const Posted event{"u", "a-1", "c", 1, true, '"' + std::string(1000, 'x') + "needle\""};
    post(store, std::vector(100, event), {}, "needle");
    store.addRequest(samples::request("POST", "/event", "needle"), {400, "", ""});
    store.reset();
    EXPECT_THAT(contentsOf(file) + contentsOf(log), Not(HasSubstr("needle")));
}

TEST_F(StoreFileTest, FileOfTheFirstVersionIsUpgraded) {
    std::make_unique<Store>(file).reset();
    Database(file).execute("DROP TABLE refusals; PRAGMA user_version = 1");
    Store store(file);
    store.addRequest(samples::request("POST", "/event", "{"), {400, "no JSON", ""});
    EXPECT_EQ(store.requests({.refused = true}).total, 1U);
}

TEST_F(StoreFileTest, FileInUseOrForeignIsRefusedUntouched) {
    const auto opening = [this] {
        const Store store(file);
    };
    const auto refused = [this](const std::string& reason) {
        return ThrowsMessage<StoreError>(file.string() + reason);
    };
    {
        const Store store(file);
        EXPECT_THAT(opening, refused(" is in use by another collector"));
    }
    const auto patched = [bytes = contentsOf(file)](std::size_t position, char byte) {
        return std::string(bytes).replace(position, 1, 1, byte);
    };
    const std::pair<std::string, std::string> cases[] = {
        {"a letter", " is not a database of this collector"},
        {std::string(5000, 'x'), " is not a database of this collector"},
        {patched(68, 1), " is not a database of this collector"},
        {patched(63, 3), " was made by a later version of this collector (3 instead of 2)"},
    };
    for (const auto& [bytes, reason] : cases) {
        test::writeTo(file, bytes);
        EXPECT_THAT(opening, refused(reason));
        EXPECT_EQ(contentsOf(file), bytes);
        EXPECT_FALSE(fs::exists(log));
    }
    test::writeTo(file, patched(0, 'S').substr(0, 100) + std::string(8000, 'x'));
    EXPECT_THAT(opening, ThrowsMessage<StoreError>(StartsWith(file.string() + ": ")));
}

TEST_F(StoreFileTest, FullDiskStoresNothingOfTheEnvelope) {
    Store store(file);
    fill(store);
    store.onChange([] { ADD_FAILURE() << "a failed write is no change"; });
    // Room for the beginning of the transaction only.
    withFullDisk(fs::file_size(log) + 20'000, [&store] {
        const std::string large = '"' + std::string(100'000, 'x') + '"';
        EXPECT_THROW(post(store, {{"u7", "z-1"}, {"u8", "z-1", "x", 9, true, large}}), StoreError);
    });
    store.onChange({});
    expectFilled(store);
    EXPECT_FALSE(post(store, {{"u7"}})[0].duplicate);
}

TEST_F(StoreFileTest, FullDiskRecordsNoPartOfAnEnvelope) {
    const auto lines = folder.path() / "events.jsonl";
    test::writeTo(lines, "before\n");
    EventRecorder recorder(lines);
    std::vector<Store::Arrival> events(2);
    events[0].record = "one";
    events[1].record = "two";
    withFullDisk(fs::file_size(lines) + 6, [&] { EXPECT_FALSE(recorder.append(events)); });
    EXPECT_EQ(contentsOf(lines), "before\n");
    EXPECT_TRUE(recorder.append(events));
    EXPECT_EQ(contentsOf(lines), "before\none\ntwo\n");
}

}  // namespace
}  // namespace zentara::collector
