#include "LoadGenerator.h"

#include <curl/curl.h>

#include <algorithm>
#include <ctime>
#include <memory>
#include <thread>

namespace zentara::bench {

namespace {

using namespace std::chrono;
using Clock = steady_clock;

constexpr int senders = 8;
constexpr int eventsPerRequest = LoadGenerator::eventsPerRequest;

std::string action(int sender, int request, int index) {
    const std::string number =
        std::to_string(sender) + "-" + std::to_string(request) + "-" + std::to_string(index);
    return R"({"id":"page-view","version":"1","url":"https://shop.example/a/)" + number +
           R"(","contentType":"application/json","properties":{"title":"A page about )" + number +
           R"(","section":"home","language":"en","loadMs":1200,"experiments":["new-search:variant-b","free-shipping:control"]},)"
           R"("actionTs":1700000000000,"zentaraClientVersion":"1.2.3","zentaraClientReferer":"",)"
           R"("zentaraRelationId":null,"zentaraClientContextID":"context-)" +
           std::to_string(sender) + R"(","zentaraActionSequence":)" +
           std::to_string(request * eventsPerRequest + index + 1) + R"(,"zentaraActionUUID":")" +
           number + R"(","zentaraActionExtraAttributes":""})";
}

std::string envelope(int sender, int request) {
    std::string actions;
    for (int index = 0; index < eventsPerRequest; ++index) {
        if (index > 0) actions += ',';
        actions += action(sender, request, index);
    }
    return R"({"zentaraClientUUID":"client-)" + std::to_string(sender) +
           R"(","zentaraClientTenant":"load","zentaraClientType":"mobile",)"
           R"("zentaraClientDeviceGroup":"iOS","zentaraEnvironment":"app",)"
           R"("zentaraClientTs":1700000000001,"actions":[)" +
           actions + R"(],"zentaraDispatchNumber":)" + std::to_string(request + 1) +
           R"(,"zentaraActionCounter":10})";
}

class Sender {
  public:
    Sender(int number, const std::string& url)
        : number_(number), curl_(curl_easy_init(), curl_easy_cleanup) {
        set(CURLOPT_URL, url.c_str());
        set(CURLOPT_HTTPHEADER, headers_.get());
        set(CURLOPT_NOSIGNAL, 1L);
        set(CURLOPT_FRESH_CONNECT, 1L);
        set(CURLOPT_FORBID_REUSE, 1L);
        set(
            CURLOPT_WRITEFUNCTION,
            +[](const char*, std::size_t, std::size_t size, void*) { return size; });
    }

    void run(Clock::time_point start, Clock::time_point end, nanoseconds interval) {
        for (auto due = start; due < end && Clock::now() < end; due += interval) {
            if (interval > 0ns || result.requests == 0) std::this_thread::sleep_until(due);
            post();
        }
        timespec time{};
        ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        result.processorTime = seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
    }

    LoadGenerator::Result result;

  private:
    template <typename Value>
    void set(CURLoption option, Value value) {
        curl_easy_setopt(curl_.get(), option, value);
    }

    void post() {
        const std::string body = envelope(number_, static_cast<int>(result.requests));
        set(CURLOPT_POSTFIELDS, body.data());
        set(CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
        const auto before = Clock::now();
        const CURLcode code = curl_easy_perform(curl_.get());
        result.latencies.push_back(Clock::now() - before);
        long status = 0;
        curl_easy_getinfo(curl_.get(), CURLINFO_RESPONSE_CODE, &status);
        ++result.requests;
        if (code != CURLE_OK || status != 200) ++result.errors;
    }

    const int number_;
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl_;
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers_{
        curl_slist_append(nullptr, "Content-Type: application/json"), curl_slist_free_all};
};

}  // namespace

double LoadGenerator::Result::percentile(double part) const {
    const auto index = static_cast<std::size_t>(part * static_cast<double>(latencies.size() - 1));
    return static_cast<double>(latencies.at(index).count()) / 1e6;
}

LoadGenerator::Result LoadGenerator::run(const std::string& url, long requestsPerSecond,
                                         seconds duration) {
    const nanoseconds between =
        requestsPerSecond == 0 ? 0ns : nanoseconds(seconds(1)) / requestsPerSecond;
    const auto start = Clock::now() + 100ms;
    std::vector<std::unique_ptr<Sender>> all;
    std::vector<std::thread> threads;
    for (int number = 0; number < senders; ++number) {
        Sender& sender = *all.emplace_back(std::make_unique<Sender>(number, url));
        threads.emplace_back([&sender, from = start + number * between, end = start + duration,
                              interval = senders * between] { sender.run(from, end, interval); });
    }
    for (auto& thread : threads)
        thread.join();
    Result sum;
    sum.took = Clock::now() - start;
    for (const auto& sender : all) {
        const Result& part = sender->result;
        sum.requests += part.requests;
        sum.errors += part.errors;
        sum.processorTime += part.processorTime;
        sum.latencies.insert(sum.latencies.end(), part.latencies.begin(), part.latencies.end());
    }
    std::ranges::sort(sum.latencies);
    return sum;
}

}  // namespace zentara::bench
