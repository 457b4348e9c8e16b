#include "collector/Services.h"

#include <gmock/gmock.h>

#include <boost/json/parse.hpp>

#include "apps/collector/Samples.h"

namespace zentara::collector {
namespace {

using testing::HasSubstr;

class ServicesTest : public testing::Test {
  protected:
    boost::json::value get(const std::string& path, NamedTexts query = {},
                           const std::string& cookie = "") {
        auto request = samples::request("GET", path);
        request.query = std::move(query);
        if (!cookie.empty()) request.headers.emplace_back("Cookie", cookie);
        return boost::json::parse(services.answer(request).body);
    }

    Store store;
    Services services{store, {.schemasTable = R"({"a-1":{}})", .recorder = nullptr, .log = {}}};
};

TEST_F(ServicesTest, RefusalsNameStatusAndReasonAndStoreNothing) {
    const auto good = samples::envelope(samples::action("a", "u1"));
    auto wrongType = samples::request("POST", "/event", good);
    wrongType.headers = {{"Content-Type", "text/plain"}};
    const struct {
        HttpRequest request;
        int status;
        const char* reason;
    } cases[] = {
        {samples::request("GET", "/nothing"), 404, "there is nothing at /nothing"},
        {samples::request("GET", "/event"), 405, "/event takes POST, not GET"},
        {samples::request("GET", "/received"), 405, "/received takes DELETE, not GET"},
        {samples::request("POST", "/event", "{"), 400, "the body is not JSON"},
        {samples::request("POST", "/event", "{}"), 422, "\"zentaraClientUUID\" is missing"},
        {wrongType, 415, "application/json"},
    };
    for (const auto& each : cases) {
        const auto response = services.answer(each.request);
        EXPECT_EQ(response.status, each.status);
        EXPECT_THAT(std::string(boost::json::parse(response.body).at("error").as_string()),
                    HasSubstr(each.reason));
    }
    EXPECT_EQ(store.summary().envelopes, 0U);
    EXPECT_EQ(store.summary().events, 0U);
    EXPECT_EQ(store.summary().requests, 5U) << "all but the one for /received";
}

TEST_F(ServicesTest, AnIdentityIsRenewedByItsCookieAndOthersAreNot) {
    const auto first = get("/id");
    const auto second = get("/id");
    EXPECT_NE(first.at("qvn_uid"), second.at("qvn_uid"));

    const std::string uid(first.at("qvn_uid").as_string());
    const auto renewed = get("/id", {}, "other=1;qvn_uid=" + uid + ";");
    EXPECT_EQ(renewed.at("qvn_uid"), first.at("qvn_uid"));
    EXPECT_EQ(renewed.at("qvn_uid_public"), first.at("qvn_uid_public"));
    EXPECT_FALSE(renewed.at("hsid").as_string().empty());
    EXPECT_NE(first.at("qvn_uid_public"), second.at("qvn_uid_public"));

    EXPECT_NE(get("/id", {}, "qvn_uid=<script>").at("qvn_uid"), "<script>");
}

TEST_F(ServicesTest, ReceivedEventsCanBeAskedForAndForgotten) {
    const auto response = services.answer(samples::request(
        "POST", "/event",
        samples::envelope(samples::action("a", "u1") + "," + samples::action("b", "u2"))));
    EXPECT_EQ(response.body, R"({"received":2})");

    const auto events = get("/received/events", {{"schema", "b-1"}});
    EXPECT_EQ(events.at("total"), 1);
    EXPECT_EQ(events.at("events").at(0).at("actionUUID"), "u2");
    EXPECT_EQ(get("/received/summary"),
              boost::json::parse(R"({"requests":1,"envelopes":1,"events":2,"distinctActions":2,
                                     "duplicates":0,"eventsBySchema":{"a-1":1,"b-1":1}})"));
    EXPECT_EQ(get("/received/requests").at("requests").at(0).at("target"), "/event");

    EXPECT_EQ(services.answer(samples::request("DELETE", "/received")).status, 200);
    EXPECT_EQ(get("/received/events").at("events").as_array().size(), 0U);
}

TEST_F(ServicesTest, AQueryThatIsNotUnderstoodIsRefused) {
    const NamedTexts queries{
        {"limit", "-1"}, {"limit", ""}, {"offset", "1x"}, {"schema", "a-1"}, {"color", "red"}};
    for (const auto& [name, value] : queries) {
        auto request = samples::request("GET", "/received/envelopes");
        request.query = {{name, value}};
        EXPECT_EQ(services.answer(request).status, 400) << name << '=' << value;
    }
}

}  // namespace
}  // namespace zentara::collector
