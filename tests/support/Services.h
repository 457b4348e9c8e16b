#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "json/JSONText.h"
#include "support/TestServer.h"

namespace zentara::test {

/// The collector and the schemas service in one server, with the statuses that a test sets.
class Services {
  public:
    /// Takes the arguments of `TestServer`.
    template <typename... Arguments>
    explicit Services(const Arguments&... arguments) : server_(arguments...) {
        server_.respond([this](const RecordedRequest& request) { return answer(request); });
    }

    std::atomic<int> schemasStatus = 200;
    std::atomic<int> eventStatus = 200;
    std::atomic<int> idStatus = 200;

    [[nodiscard]] URL url() const { return server_.url(); }

    [[nodiscard]] std::vector<RecordedRequest> requests(const std::string& target) const {
        auto matching = server_.requests();
        std::erase_if(matching, [&](const auto& request) { return request.target != target; });
        return matching;
    }

    /// The actions of all envelopes, accepted or refused, in order of arrival.
    [[nodiscard]] std::vector<JSONObject> actions() const {
        std::vector<JSONObject> all;
        for (const auto& request : requests("/event")) {
            for (auto& action : actionsIn(request))
                all.push_back(std::move(action));
        }
        return all;
    }

    /// How often each event with a property "n" was accepted.
    [[nodiscard]] std::map<std::int64_t, int> accepted() const {
        const std::lock_guard lock(mutex_);
        return accepted_;
    }

    static constexpr const char* table = R"({
        "view-1": {"type": "object", "required": ["title"],
                   "properties": {"title": {"type": "string"}, "n": {"type": "integer"}}},
        "any-1": {}
    })";

    /// Runs before each answer to a request for `target` from now on.
    void beforeAnswering(std::function<void()> hook, const std::string& target = "/event") {
        const std::lock_guard lock(mutex_);
        hooks_[target] = std::move(hook);
    }

  private:
    static std::vector<JSONObject> actionsIn(const RecordedRequest& request) {
        std::vector<JSONObject> actions;
        const auto envelope = *parseJSON(request.body);
        for (const auto& action : envelope.at("actions").array())
            actions.push_back(action.object());
        return actions;
    }

    TestAnswer answer(const RecordedRequest& request) {
        std::unique_lock lock(mutex_);
        const auto hook = hooks_[request.target];
        lock.unlock();
        if (hook) hook();
        TestAnswer answer;
        if (request.target == "/schemas") {
            answer.status = schemasStatus;
            answer.body = table;
        } else if (request.target == "/id") {
            answer.status = idStatus;
            answer.body = R"({"qvn_uid":"anon","qvn_uid_public":"public","hsid":"session"})";
        } else {
            answer.status = eventStatus;
            if (answer.status / 100 == 2) count(request);
        }
        return answer;
    }

    void count(const RecordedRequest& request) {
        const std::lock_guard lock(mutex_);
        for (const auto& action : actionsIn(request)) {
            const auto& properties = action.at("properties").object();
            if (const auto* number = properties.find("n")) ++accepted_[number->integer()];
        }
    }

    mutable std::mutex mutex_;
    std::map<std::string, std::function<void()>> hooks_;  // guarded by mutex_
    std::map<std::int64_t, int> accepted_;                // guarded by mutex_
    TestServer server_;
};

}  // namespace zentara::test
