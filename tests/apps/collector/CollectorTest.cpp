#include <gmock/gmock.h>
#include <zentara/CollectorClient.h>

#include <zentara/JSONValue.h>
#include <future>

#include "apps/collector/Samples.h"
#include "apps/collector/http/RawClient.h"
#include "collector/Front.h"
#include "collector/http/HttpServer.h"
#include "network/Gzip.h"
#include "support/Files.h"
#include "support/WaitFor.h"

namespace zentara::collector {
namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using Verdict = EventSelection::Verdict;

class RecordingExchange final : public Exchange {
  public:
    explicit RecordingExchange(HttpRequest request) : request_(std::move(request)) {}

    [[nodiscard]] const HttpRequest& request() const override { return request_; }
    [[nodiscard]] bool isOpen() const override { return !hasGone; }
    void deliver(Delivery delivery) override { answers.put(std::move(delivery)); }
    [[nodiscard]] std::shared_ptr<EventStream> openStream() override { return nullptr; }

    [[nodiscard]] HttpResponse response() { return answers.waitFor().value().response; }

    std::atomic<bool> hasGone = false;
    test::Mailbox<Delivery> answers;

  private:
    HttpRequest request_;
};

std::shared_ptr<RecordingExchange> waitExchange(NamedTexts query = {}) {
    auto request = samples::request("GET", "/received/wait");
    request.query = std::move(query);
    return std::make_shared<RecordingExchange>(std::move(request));
}

/// The collector without its command line. Most tests use its HTTP client.
class CollectorTest : public testing::Test {
  protected:
    CollectorTest() {
        test::writeTo(folder.path() / "a-1.json", R"({"properties":{"price":{"minimum":1}}})");
        test::writeTo(folder.path() / "b-1.json", R"({"properties":{"price":{"minimum":9}}})");
        (void)catalogue.refreshed();
        store.onChange([this] { queries.notify(); });
    }
    ~CollectorTest() override {
        queries.stop();
        server.stop();
    }

    HttpResponse answer(Service service, HttpRequest request) {
        const auto exchange = std::make_shared<RecordingExchange>(std::move(request));
        services.answer(service, exchange);
        return exchange->response();
    }

    Delivery post(const std::string& actions) {
        auto request = samples::request("POST", "/event", samples::envelope(actions));
        (void)services.begin(Service::event, request);
        const auto exchange = std::make_shared<RecordingExchange>(std::move(request));
        services.answer(Service::event, exchange);
        return exchange->answers.waitFor().value();
    }

    JSONValue identity(const std::string& cookie = "") {
        auto request = samples::request("GET", "/id");
        request.headers.emplace_back("Cookie", cookie);
        return JSONValue::parse(answer(Service::id, std::move(request)).body);
    }

    std::string refusalOf(const std::string& path) {
        try {
            (void)client.get(path);
            return "";
        } catch (const CollectorError& error) {
            return error.what();
        }
    }

    const test::TemporaryDirectory folder;
    Store store;
    SchemaCatalogue catalogue{folder.path()};
    Faults faults;
    Services services{store, catalogue, faults, {}};
    QueryInterface queries{store, catalogue, faults};
    Metrics metrics{catalogue};
    Health health;
    Front front{{services, queries, metrics, health},
                {.services = true, .page = true, .metrics = true}};
    HttpServer server{front};
    const int port = server.listen("127.0.0.1", 0);
    const CollectorClient client{"http://127.0.0.1:" + std::to_string(port)};
};

TEST_F(CollectorTest, WaitEndsWithItsEvents) {
    auto waiting = std::async(std::launch::async, [this] {
        return client.waitFor({.schema = "a-1", .text = "wanted"}, 2, 60s);
    });
    post(samples::action("a", "wanted-1"));
    post(samples::action("b", "wanted-2"));  // of another schema, and bad
    EXPECT_EQ(client.waitFor({.schema = "a-1"}).total, 1U);
    EXPECT_EQ(waiting.wait_for(0s), std::future_status::timeout);
    post(samples::action("a", "wanted-3"));
    const auto found = waiting.get();
    ASSERT_EQ(found.events.size(), 2U);
    EXPECT_EQ(found.events[1].at("actionUUID"), "wanted-3");
}

TEST_F(CollectorTest, FailedExpectationNamesWhatArrived) {
    post(samples::action("b", "bad-one"));
    EXPECT_FALSE(client.waitFor({.schema = "b-1"}, 1, 1ms).satisfied) << "it is bad";
    EXPECT_EQ(client.expectEvent({.schema = "b-1", .verdict = Verdict::bad}).at("good"), false);
    EXPECT_THAT([this] { client.expectEvent({.schema = "a-1"}, 1ms); },
                testing::ThrowsMessage<ExpectationError>(HasSubstr("\"b-1\":1")));
    EXPECT_THROW(client.expectNoEvent({.verdict = Verdict::any}), ExpectationError);
    client.expectNoEvent({.schema = "a-1", .verdict = Verdict::any}, 1ms);
}

TEST_F(CollectorTest, StopAnswersPendingWaits) {
    const auto early = waitExchange();
    const auto late = waitExchange();
    queries.handle(early);
    queries.stop();
    queries.handle(late);
    EXPECT_EQ(early->response().status, 503);
    EXPECT_EQ(late->response().status, 503);
}

TEST_F(CollectorTest, DepartedClientsFreeTheirPlaces) {
    for (std::size_t number = 0; number < Watch::mostWaits; ++number) {
        const auto gone = waitExchange({{"timeout", "600000"}, {"count", "2"}});
        queries.handle(gone);
        gone->hasGone = true;
    }
    post(samples::action("a", "u1"));
    EXPECT_TRUE(test::eventually([this] {
        const auto next = waitExchange();
        queries.handle(next);
        return next->response().status == 200;
    }));
}

TEST_F(CollectorTest, QueriesAreAnsweredOrRefusedWithAReason) {
    post(samples::action("a", "u1") + "," + samples::action("a", "u1") + "," +
         samples::action("b", "u2") + "," + samples::action("unknown", "u3"));
    EXPECT_EQ(client.count({.verdict = Verdict::any}), 4U);
    EXPECT_EQ(client.count({.duplicate = true}), 1U);
    EXPECT_EQ(client.events({.client = "client-1", .verdict = Verdict::bad}).size(), 2U);
    EXPECT_EQ(client
                  .get("/received/events?schema=a-1&user=&tenant=shop&context=c-1&client=client-1"
                       "&good=any&text=U1&words=shop.example+1.2.3&duplicate=true&since=-5&until="
                       "1700000000000&after=1"
                       "&sort=actionTs&order=descending&offset=0&limit=0")
                  .at("total"),
              1);
    EXPECT_EQ(client.summary().bad, 2U);
    EXPECT_EQ(client.get("/received/events/u1").at("arrivals").array().size(), 2U);
    EXPECT_EQ(client.get("/received/timeline").at("buckets").at(0).at("good"), 2);

    const std::pair<const char*, const char*> refusals[] = {
        {"/received", "405"},
        {"/event", "/event takes POST, not GET"},
        {"/received/events/u4", "no event has the action UUID u4"},
        {"/received/events?limit=1&limit=2", "there twice"},
        {"/received/events?limit=-1", R"(limit is a number from 0 on, not \"-1\")"},
        {"/received/events?since=1e3", "since is a time in milliseconds since 1970-01-01 UTC"},
        {"/received/events?sort=json", "sort is number, receivedAt, actionTs, schema or sequence"},
        {"/received/summary?schema=a-1", "does not know the parameter schema"},
        {"/received/export?sort=number", "does not know the parameter sort"},
        {"/received/requests?fault=1", "fault is true or false"},
        {"/received/requests?order=up&refused=true", "order is ascending or descending"},
        {"/received/wait?timeout=600001", "up to 600000"},
        {"/nothing", "there is nothing at /nothing"},
    };
    for (const auto& [path, reason] : refusals)
        EXPECT_THAT(refusalOf(path), HasSubstr(reason));
    std::string words = "/received/events?words=";
    for (std::size_t word = 0; word < EventFilter::mostWords; ++word)
        words += "1+";
    EXPECT_EQ(refusalOf(words), "");
    EXPECT_THAT(refusalOf(words + "1"), HasSubstr("words is at most 100 words"));
}

TEST_F(CollectorTest, LinesEndAfterTheirSize) {
    post(samples::action("b", "1") + "," + samples::action("a", "2") + "," +
         samples::action("a", "3"));
    const auto records = store.events({.filter = {.schema = "a-1"}}).records;
    const std::string first = records.at(0) + "\n";
    EXPECT_EQ(store.lines({.schema = "a-1"}, first.size()), first);
    EXPECT_EQ(store.lines({.schema = "a-1"}, first.size() + 1), first + records.at(1) + "\n");
}

TEST_F(CollectorTest, FindingsOfSchemasCanBeRead) {
    test::writeTo(folder.path() / "b-1.json", R"({"properties":{"a/b":{"format":"none"}}})");
    test::writeTo(folder.path() / "c-1.json", "[]");
    const auto answer = client.get("/received/schemas");
    EXPECT_EQ(answer.at("faults"), 2);
    EXPECT_THAT(answer.at("problems").at(0).string(), HasSubstr("/c-1.json: a schema is"));
    const auto& schema = answer.at("schemas").at(1);
    EXPECT_EQ(schema.at("id"), "b");
    EXPECT_EQ(schema.at("version"), "1");
    EXPECT_EQ(schema.at("served"), true);
    EXPECT_EQ(answer.at("schemas").at(2).at("served"), false);
    const auto& finding = schema.at("findings").at(0);
    EXPECT_EQ(finding.at("rule"), "ZS110");
    EXPECT_EQ(finding.at("severity"), "fault");
    EXPECT_EQ(finding.at("pointer"), "/properties/a~1b/format");
    EXPECT_EQ(finding.at("line"), 1);
    EXPECT_EQ(finding.at("column"), 23);
    const auto counts = client.get("/received/summary").at("schemas");
    EXPECT_EQ(counts.at("served"), 2);
    EXPECT_EQ(counts.at("faults"), 2);
    EXPECT_EQ(counts.at("problems"), 1);
}

TEST_F(CollectorTest, PropertiesOfASchemaAreTold) {
    test::writeTo(
        folder.path() / "a-1.json",
        R"({"type":"object","required":["price"],"properties":{"price":{"type":"number"},)"
        R"("lines":{"type":"array","items":{"type":"object","properties":)"
        R"({"n":{"type":"integer"}}}}}})");
    EXPECT_EQ(client.get("/received/schemas/a-1").at("examined"), 0);
    post(samples::action("a", "u1") + "," + samples::action("b", "u2"));
    const auto answer = client.get("/received/schemas/a-1");
    EXPECT_EQ(answer.at("schema"), "a-1");
    EXPECT_EQ(answer.at("described"), true);
    EXPECT_EQ(answer.at("received"), 1);
    EXPECT_EQ(answer.at("examined"), 1);
    EXPECT_EQ(answer.at("more"), false);
    std::string told;
    for (const auto& property : answer.at("properties").array()) {
        told += std::string(property.at("path").string()) +
                (property.at("declared").boolean() ? " declared" : "") +
                (property.at("required").boolean() ? " required " : " ") +
                property.at("present").text() + "\n";
    }
    EXPECT_EQ(told,
              "price declared required 1\nlines declared 0\nlines.* declared 0\n"
              "lines.*.n declared 0\ncount 1\n");
    EXPECT_THAT(refusalOf("/received/schemas/c-1"), HasSubstr("neither a schema nor an event c-1"));
}

TEST_F(CollectorTest, BadEventsAreGroupedAndFoundByMessage) {
    post(samples::action("b", "u1") + "," + samples::action("a", "u2"));
    post(samples::action("b", "u3"));
    const auto answer = client.get("/received/messages");
    EXPECT_EQ(answer.at("bad"), 2);
    EXPECT_EQ(answer.at("examined"), 2);
    EXPECT_EQ(answer.at("more"), false);
    ASSERT_EQ(answer.at("groups").array().size(), 1U);
    const auto& group = answer.at("groups").at(0);
    EXPECT_EQ(group.at("schema"), "b-1");
    EXPECT_EQ(group.at("count"), 2);
    EXPECT_EQ(group.at("paths").text(), R"(["/price"])");
    const auto events =
        store.events({.filter = {.message = std::string(group.at("message").string())}});
    ASSERT_EQ(events.total, 2U);
    const auto latest = JSONValue::parse(events.records.back());
    EXPECT_EQ(group.at("message"), latest.at("messages").at(0).at("message"));
    EXPECT_EQ(group.at("latest"), latest.at("receivedAt"));
    EXPECT_EQ(client.get("/received/events?message=value").at("total"), 0);
}

TEST_F(CollectorTest, StatusMaySayWhenToComeAgain) {
    faults.set(Service::id, std::get<Fault>(readFault(R"({"status":429,"retryAfter":5})")));
    const auto current = JSONValue::parse(faultsText(faults)).at("id");
    EXPECT_EQ(current.at("retryAfter"), 5);
    RawClient raw(port, "GET /id HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const auto text = raw.readUntil("\r\n\r\n");
    EXPECT_THAT(text, HasSubstr("HTTP/1.1 429 "));
    EXPECT_THAT(text, HasSubstr("\r\nRetry-After: 5\r\n"));
}

TEST_F(CollectorTest, SchemaChangesReachOpenPages) {
    RawClient page(port, "GET /received/stream HTTP/1.1\r\nHost: localhost\r\n\r\n");
    EXPECT_THAT(page.readUntil("\n\n"), HasSubstr(R"("served":2)"));
    test::writeTo(folder.path() / "c-1.json", "{}");
    EXPECT_THAT(page.readUntil(R"("served":3)"), HasSubstr(R"("served":3)"));
}

TEST_F(CollectorTest, CatalogueCountsArrivals) {
    post(samples::action("a", "u1") + "," + samples::action("b", "u2"));
    RawClient page(port, "GET /catalogue HTTP/1.1\r\nHost: localhost\r\nConnection: close\r\n\r\n");
    const auto text = page.readUntil("</html>");
    EXPECT_THAT(text, HasSubstr("\r\nContent-Security-Policy: default-src 'none'; "));
    EXPECT_THAT(text,
                HasSubstr(R"(<a class="badge bad" href="/?schema=b-1&amp;good=false">1 bad</a>)"));
    EXPECT_THAT(text, testing::Not(HasSubstr("/?schema=a-1&amp;good=false")));
    EXPECT_THAT(text, HasSubstr(R"(<a class="badge" href="/?schema=a-1">1 received</a>)"));
    EXPECT_THAT(refusalOf("/catalogue?x=1"), HasSubstr("does not know the parameter x"));
}

TEST_F(CollectorTest, CookieRenewsItsIdentityOnly) {
    const auto first = identity();
    EXPECT_NE(first.at("qvn_uid"), identity().at("qvn_uid"));
    const std::string uid(first.at("qvn_uid").string());
    const auto renewed = identity("other=1; novalue ;=x;qvn_uid=" + uid + ";");
    for (const char* member : {"qvn_uid", "qvn_uid_public"})
        EXPECT_EQ(renewed.at(member), first.at(member));
    EXPECT_NE(identity("qvn_uid=<script>").at("qvn_uid"), "<script>");
}

TEST_F(CollectorTest, CompressedEnvelopeIsInflated) {
    const auto status = [this](const std::string& encoding, const std::string& body) {
        auto request = samples::request("POST", "/event", body);
        request.headers.emplace_back("Content-Encoding", encoding);
        return answer(Service::event, std::move(request)).status;
    };
    const std::string compressed = gzip(samples::envelope(samples::action("a", "1")));
    EXPECT_EQ(status("gzip", compressed), 200);
    EXPECT_EQ(client.events({.schema = "a-1"}).size(), 1U);
    EXPECT_EQ(status("GZip", gzip(samples::envelope(""))), 200);
    EXPECT_EQ(status("identity", samples::envelope("")), 200);
    EXPECT_EQ(status("br", compressed), 415);
    EXPECT_EQ(status("gzip", samples::envelope("")), 400);
    EXPECT_EQ(status("gzip", compressed.substr(0, compressed.size() - 1)), 400);
    EXPECT_EQ(status("gzip", compressed + "x"), 400);
    EXPECT_EQ(status("gzip", gzip(std::string(5'000'000, ' '))), 413);
}

TEST_F(CollectorTest, SlowlyReadRequestIsAlwaysRecorded) {
    client.setFault("event", {{"readingPace", 10'000}, {"times", 2}});
    const std::string envelope = samples::envelope(std::string(1000, ' '));
    const std::string post =
        "POST /event HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
        "Content-Length: " +
        std::to_string(envelope.size()) + "\r\n\r\n";
    const auto begin = std::chrono::steady_clock::now();
    RawClient whole(port, post + envelope);
    EXPECT_THAT(whole.readUntil("}"), HasSubstr("{\"received\":0}"));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 100ms);
    RawClient(port, post + "and gone");
    EXPECT_TRUE(test::eventually(
        [this] { return store.summary().faults["event: reading pace 10000 bytes/s"] == 2; }));
    EXPECT_EQ(store.requests({.fault = true}).total, 2U);
}

}  // namespace
}  // namespace zentara::collector
