#pragma once

#include <optional>
#include <string>
#include <vector>

#include "collector/Health.h"
#include "collector/Metrics.h"
#include "collector/QueryInterface.h"
#include "collector/Services.h"
#include "collector/http/Exchange.h"
#include "collector/http/RequestRate.h"

namespace zentara::collector {

/// What a port offers, beside the health.
struct FrontParts {
    bool services = false;  ///< the three services
    bool page = false;      ///< the page, the query interface and the faults
    bool metrics = false;
};

/// How a port treats its clients.
struct FrontClients {
    std::vector<std::string> trustedProxies = {};            ///< canonical addresses
    std::optional<double> requestsPerSecond = std::nullopt;  ///< of each; none for no limit
};

/// Routes each request of a port to the services, the query interface, the files of the page, the
/// metrics or the health. Faults affect the services only.
class Front final : public HttpHandler {
  public:
    /// What the requests are routed to. Outlives it.
    struct Targets {
        Services& services;
        QueryInterface& queries;
        const Metrics& metrics;
        const Health& health;
    };

    Front(Targets targets, FrontParts parts, const FrontClients& clients = {});

    [[nodiscard]] std::optional<HttpResponse> turnAway(HttpRequest& head) override;
    [[nodiscard]] std::optional<std::size_t> readingPace(HttpRequest& head) override;
    void handle(std::shared_ptr<Exchange> exchange) override;
    [[nodiscard]] HttpResponse refuse(const HttpRequest& request, int status,
                                      const std::string& reason) override;

  private:
    [[nodiscard]] std::optional<Service> serviceAt(const std::string& path) const;
    [[nodiscard]] HttpResponse answer(const HttpRequest& request);

    const Targets targets_;
    const FrontParts parts_;
    const std::vector<std::string> trustedProxies_;
    std::optional<RequestRate> rate_;
};

}  // namespace zentara::collector
