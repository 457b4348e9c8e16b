#include "collector/Faults.h"

#include <gmock/gmock.h>

#include <atomic>
#include <thread>
#include <vector>

#include "collector/FaultText.h"

namespace zentara::collector {
namespace {

using testing::HasSubstr;
using testing::VariantWith;

Fault faultIn(const std::string& json) {
    return std::get<Fault>(readFault(json));
}

TEST(FaultsTest, AFaultIsMetExactlyAsOftenAsSaidWhoeverAsks) {
    Faults faults;
    faults.set(Service::event, faultIn(R"({"status":500,"times":1000})"));
    std::atomic<int> met = 0;
    std::vector<std::jthread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            for (int request = 0; request < 500; ++request) {
                if (faults.next(Service::event)) ++met;
            }
        });
    }
    threads.clear();
    EXPECT_EQ(met, 1000);
    EXPECT_FALSE(faults.current(Service::event));
}

TEST(FaultsTest, AShareOfTheRequestsMeetsAFaultAndOnlyTheyCount) {
    Faults faults(1);
    faults.set(Service::id, faultIn(R"({"answer":"lost","rate":0.25,"times":100000})"));
    std::uint64_t met = 0;
    for (int request = 0; request < 10'000; ++request) {
        if (faults.next(Service::id)) ++met;
    }
    EXPECT_NEAR(static_cast<double>(met), 2500, 5 * 43.3);  // five standard deviations
    EXPECT_EQ(faults.current(Service::id)->times, 100'000 - met);
}

TEST(FaultsTest, AFaultReadsTheSameInBothFormsAndAsItIsWritten) {
    const std::vector<std::pair<std::string, std::string>> forms{
        {R"({"answer":"status","status":418,"rate":0.5,"times":3,"latency":200,"readingPace":9})",
         "answer=status,status=418,rate=0.5,times=3,latency=200,readingPace=9"},
        {R"({"answer":"status","status":500})", "status=500"},
        {R"({"answer":"lost","status":500})", "answer=lost,status=500"},
        {R"({"answer":"not-http","rate":1,"times":null})", "answer=not-http,rate=1"},
    };
    for (const auto& [json, option] : forms) {
        SCOPED_TRACE(json);
        const Fault fault = faultIn(json);
        const auto fromOption = readFaultOption("all:" + option);
        EXPECT_EQ(std::get<ServiceFaults>(fromOption),
                  (ServiceFaults{
                      {Service::schemas, fault}, {Service::id, fault}, {Service::event, fault}}));
        std::string written;
        appendFault(written, fault);
        EXPECT_EQ(faultIn(written), fault);
    }
}

TEST(FaultsTest, WhatIsNoFaultIsExplained) {
    const std::vector<std::pair<std::string, std::string>> bodies{
        {"", "JSON object"},
        {"[]", "JSON object"},
        {R"({"sttus":500})", "no member \"sttus\""},
        {R"({"answer":null})", "answer is one of"},
        {R"({"status":199})", "status is an integer from 200 to 599"},
        {R"({"status":"500"})", "status is an integer from 200 to 599"},
        {R"({"rate":1.01})", "rate is a number from 0 to 1"},
        {R"({"times":0})", "times is an integer of at least 1"},
        {R"({"latency":600001})", "latency is an integer from 0 to 600000"},
        {R"({"latency":1e300})", "latency is an integer from 0 to 600000"},
        {R"({"readingPace":-1})", "readingPace is an integer of at least 1"},
    };
    for (const auto& [body, reason] : bodies)
        EXPECT_THAT(readFault(body), VariantWith<std::string>(HasSubstr(reason))) << body;
    const std::vector<std::pair<std::string, std::string>> options{
        {"", "begins with schemas:, id:, event: or all:"},
        {"events:status=500", "not \"events\""},
        {"event", "what to do wrong"},
        {"event:lost", "\"lost\" has no value"},
        {"event:rate=nan", "rate is a number"},
        {"event:answer=lost,,rate=1", "\"\" has no value"},
    };
    for (const auto& [option, reason] : options)
        EXPECT_THAT(readFaultOption(option), VariantWith<std::string>(HasSubstr(reason))) << option;
}

}  // namespace
}  // namespace zentara::collector
