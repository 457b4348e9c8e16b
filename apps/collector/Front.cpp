#include "collector/Front.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <string>

#include "collector/PageAssets.h"
#include "collector/Refusal.h"
#include "collector/http/ClientAddress.h"

namespace zentara::collector {

namespace {

// The page shows received text. Nothing in that text may run or fetch anything.
constexpr const char* pagePolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

HttpResponse show(const PageAsset& asset) {
    HttpResponse response;
    response.body = asset.body;
    response.contentType = asset.contentType;
    response.headers = {{"Content-Security-Policy", pagePolicy},
                        {"Referrer-Policy", "no-referrer"},
                        // Another build has other files under the same names.
                        {"Cache-Control", "no-cache"}};
    return response;
}

}  // namespace

Front::Front(Targets targets, FrontParts parts, const FrontClients& clients)
    : targets_(targets), parts_(parts), trustedProxies_(clients.trustedProxies) {
    if (clients.requestsPerSecond) rate_.emplace(*clients.requestsPerSecond);
}

std::optional<Service> Front::serviceAt(const std::string& path) const {
    return parts_.services ? Services::at(path) : std::nullopt;
}

std::optional<HttpResponse> Front::turnAway(HttpRequest& head) {
    head.client = clientOf(head, trustedProxies_);
    if (!rate_ || Health::owns(head.path)) return std::nullopt;
    const auto wait = rate_->take(addressGroup(head.client));
    if (!wait) return std::nullopt;
    auto response = targets_.services.turnAway(head, 429, "the client sends too many requests");
    const auto seconds = std::chrono::ceil<std::chrono::seconds>(*wait).count();
    response.headers.emplace_back("Retry-After", std::to_string(seconds));
    return response;
}

std::optional<std::size_t> Front::readingPace(HttpRequest& head) {
    const auto service = serviceAt(head.path);
    return service ? targets_.services.begin(*service, head) : std::nullopt;
}

void Front::handle(std::shared_ptr<Exchange> exchange) {
    const HttpRequest& request = exchange->request();
    if (const auto service = serviceAt(request.path)) {
        targets_.services.answer(*service, exchange);
    } else if (parts_.page && QueryInterface::owns(request.path)) {
        targets_.queries.handle(exchange);
    } else {
        exchange->deliver({answer(request)});
    }
}

HttpResponse Front::answer(const HttpRequest& request) {
    if (Health::owns(request.path)) return targets_.health.answer(request);
    if (parts_.metrics && request.path == Metrics::path) return targets_.metrics.answer(request);
    const auto assets = parts_.page ? pageAssets() : std::span<const PageAsset>();
    const auto asset = std::find_if(assets.begin(), assets.end(), [&](const PageAsset& each) {
        return each.path == request.path;
    });
    if (asset == assets.end()) {
        return targets_.services.refuse(request, 404, "there is nothing at " + request.path);
    }
    return isReading(request) ? show(*asset) : wrongMethod(request, "GET");
}

HttpResponse Front::refuse(const HttpRequest& request, int status, const std::string& reason) {
    return targets_.services.refuse(request, status, reason);
}

}  // namespace zentara::collector
