#include "collector/Health.h"

#include <zentara/JSONValue.h>

#include <utility>

#include "collector/Refusal.h"

namespace zentara::collector {

namespace {

constexpr std::string_view healthPath = "/health";
constexpr std::string_view livePath = "/health/live";
constexpr std::string_view readyPath = "/health/ready";

}  // namespace

bool Health::owns(std::string_view path) {
    return path == healthPath || path == livePath || path == readyPath;
}

HttpResponse Health::answer(const HttpRequest& request) const {
    if (!isReading(request)) return wrongMethod(request, "GET");
    HttpResponse response = request.path == livePath ? HttpResponse() : readiness();
    if (response.body.empty()) response.body = R"({"live":true})";
    response.headers = {{"Cache-Control", "no-store"}};
    return response;
}

HttpResponse Health::readiness() const {
    JSONArray reasons;
    if (isStopping_) reasons.push_back("the collector is stopping");
    for (const auto& check : checks_) {
        if (auto reason = check(); !reason.empty()) reasons.push_back(std::move(reason));
    }
    HttpResponse response;
    response.status = reasons.empty() ? 200 : 503;
    response.body =
        JSONValue(JSONObject{{"ready", reasons.empty()}, {"reasons", std::move(reasons)}}).text();
    return response;
}

}  // namespace zentara::collector
