#include "collector/Front.h"

#include <algorithm>
#include <string>

#include "collector/PageAssets.h"
#include "collector/Refusal.h"

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

std::optional<std::size_t> Front::readingPace(HttpRequest& head) {
    const auto service = Services::at(head.path);
    return service ? services_.begin(*service, head) : std::nullopt;
}

void Front::handle(std::shared_ptr<Exchange> exchange) {
    const HttpRequest& request = exchange->request();
    if (const auto service = Services::at(request.path)) {
        services_.answer(*service, exchange);
        return;
    }
    if (QueryInterface::owns(request.path)) {
        queries_.handle(exchange);
        return;
    }
    const auto assets = pageAssets();
    const auto asset = std::find_if(assets.begin(), assets.end(), [&](const PageAsset& each) {
        return each.path == request.path;
    });
    if (asset == assets.end()) {
        exchange->deliver({services_.refuse(request, 404, "there is nothing at " + request.path)});
    } else if (!isReading(request)) {
        exchange->deliver({wrongMethod(request, "GET")});
    } else {
        exchange->deliver({show(*asset)});
    }
}

HttpResponse Front::refuse(const HttpRequest& request, int status, const std::string& reason) {
    return services_.refuse(request, status, reason);
}

}  // namespace zentara::collector
