#include "collector/Services.h"

#include <gmock/gmock.h>

#include <boost/json/parse.hpp>

#include "apps/collector/Samples.h"

namespace zentara::collector {
namespace {

using testing::HasSubstr;

class ServicesTest : public testing::Test {
  protected:
    Delivery post(const std::string& body) {
        auto request = samples::request("POST", "/event", body);
        (void)services.begin(Service::event, request);
        return services.answer(Service::event, request);
    }

    boost::json::value identity(const std::string& cookie = "") {
        auto request = samples::request("GET", "/id");
        if (!cookie.empty()) request.headers.emplace_back("Cookie", cookie);
        return boost::json::parse(services.answer(Service::id, request).response.body);
    }

    Store store;
    SchemaCatalogue catalogue{std::nullopt};
    Faults faults;
    Services services{
        store,
        catalogue,
        faults,
        {nullptr, [this](const auto& report) { statuses.push_back(report.status); }, {}}};
    std::vector<int> statuses;
};

TEST_F(ServicesTest, RefusalsNameStatusAndReasonAndStoreNoEvent) {
    const auto good = samples::envelope(samples::action("a", "u1"));
    auto wrongType = samples::request("POST", "/event", good);
    wrongType.headers = {{"Content-Type", "text/plain"}};
    const struct {
        Service service;
        HttpRequest request;
        int status;
        const char* reason;
    } cases[] = {
        {Service::event, samples::request("GET", "/event"), 405, "/event takes POST, not GET"},
        {Service::id, samples::request("POST", "/id", "x"), 405, "/id takes GET, not POST"},
        {Service::event, samples::request("POST", "/event", "{"), 400, "the body is not JSON"},
        {Service::event, samples::request("POST", "/event", "{}"), 422,
         "\"zentaraClientUUID\" is missing"},
        {Service::event, wrongType, 415, "application/json"},
    };
    for (const auto& each : cases) {
        const auto response = services.answer(each.service, each.request).response;
        EXPECT_EQ(response.status, each.status);
        EXPECT_THAT(std::string(boost::json::parse(response.body).at("error").as_string()),
                    HasSubstr(each.reason));
    }
    EXPECT_EQ(store.summary().envelopes, 0U);
    EXPECT_EQ(store.summary().requests, std::size(cases));
    EXPECT_THAT(statuses, testing::ElementsAre(405, 405, 400, 422, 415));
}

TEST_F(ServicesTest, AnIdentityIsRenewedByItsCookieAndOthersAreNot) {
    const auto first = identity();
    EXPECT_NE(first.at("qvn_uid"), identity().at("qvn_uid"));
    const std::string uid(first.at("qvn_uid").as_string());
    const auto renewed = identity("other=1; novalue ;=x;qvn_uid=" + uid + ";");
    EXPECT_EQ(renewed.at("qvn_uid"), first.at("qvn_uid"));
    EXPECT_EQ(renewed.at("qvn_uid_public"), first.at("qvn_uid_public"));
    EXPECT_NE(identity("qvn_uid=<script>").at("qvn_uid"), "<script>");
}

TEST_F(ServicesTest, AFaultDecidesWhatIsStoredAndWhatIsSeen) {
    using Answer = Fault::Answer;
    const struct {
        Answer answer;
        bool stores;
        Manner manner;
        int status;  // as it is recorded; 0 when the client sees none
    } cases[] = {
        {Answer::normal, true, Manner::whole, 200},
        {Answer::status, false, Manner::whole, 503},
        {Answer::none, false, Manner::none, 0},
        {Answer::dropped, false, Manner::dropped, 0},
        {Answer::lost, true, Manner::dropped, 0},
        {Answer::truncated, true, Manner::truncated, 200},
        {Answer::garbage, true, Manner::whole, 200},
        {Answer::notHTTP, true, Manner::garbage, 0},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(nameOf(each.answer));
        store.reset();
        Fault fault;
        fault.answer = each.answer;
        fault.latency = 7;
        faults.set(Service::event, fault);
        const auto delivery = post(samples::envelope(samples::action("a", "u1")));
        EXPECT_EQ(delivery.manner, each.manner);
        EXPECT_EQ(delivery.delay, std::chrono::milliseconds(7));
        EXPECT_EQ(store.summary().events, each.stores ? 1U : 0U);
        const auto recorded = boost::json::parse(store.requests({true, 0, {}}).records.at(0));
        EXPECT_EQ(recorded.at("status"), each.status);
        EXPECT_EQ(recorded.at("storedEvents"), each.stores ? 1 : 0);
    }
}

TEST_F(ServicesTest, ARequestThatIsReadSlowlyAndNeverEndsIsRecordedWithItsFault) {
    Fault slow;
    slow.readingPace = 1000;
    slow.times = 2;
    faults.set(Service::event, slow);
    auto whole = samples::request("POST", "/event", samples::envelope(samples::action("a", "u1")));
    whole.headers.emplace_back("Content-Length", "5");
    EXPECT_EQ(services.begin(Service::event, whole), 1000U);
    EXPECT_EQ(services.answer(Service::event, whole).response.status, 200);
    {
        auto unfinished = whole;
        unfinished.tag.reset();
        EXPECT_EQ(services.begin(Service::event, unfinished), 1000U);
    }
    whole.tag.reset();
    EXPECT_FALSE(services.begin(Service::event, whole)) << "twice was enough";
    EXPECT_EQ(store.requests({true, 0, {}}).total, 2U);
    EXPECT_EQ(statuses, (std::vector{200, 0}));
    EXPECT_EQ(store.summary().faults.begin()->first, "event: reading pace 1000 bytes/s");
}

}  // namespace
}  // namespace zentara::collector
