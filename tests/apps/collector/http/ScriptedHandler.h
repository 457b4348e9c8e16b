#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "collector/http/Exchange.h"
#include "support/WaitFor.h"

namespace zentara::collector {

/// Answers with the body that was sent unless told otherwise. To be set up before use.
class ScriptedHandler : public HttpHandler {
  public:
    std::function<void(std::shared_ptr<Exchange>)> script = [](const auto& exchange) {
        exchange->deliver(saying(exchange->request().body));
    };
    test::Mailbox<HttpRequest> refused;

    static Delivery saying(std::string body, Manner manner = Manner::whole) {
        Delivery delivery;
        delivery.response.body = std::move(body);
        delivery.manner = manner;
        return delivery;
    }

    std::optional<std::size_t> readingPace(HttpRequest&) override { return std::nullopt; }
    void handle(std::shared_ptr<Exchange> exchange) override { script(std::move(exchange)); }
    HttpResponse refuse(const HttpRequest& request, int status,
                        const std::string& reason) override {
        HttpRequest kept = request;
        kept.tag = nullptr;
        refused.put(std::move(kept));
        return {status, "{\"error\":\"" + reason + "\"}", {}};
    }
};

}  // namespace zentara::collector
