#pragma once

#include "collector/QueryInterface.h"
#include "collector/Services.h"
#include "collector/http/Exchange.h"

namespace zentara::collector {

/// Routes each request to the services, the query interface, or the files of the page. Faults
/// affect the services only.
class Front final : public HttpHandler {
  public:
    /// The references outlive it.
    Front(Services& services, QueryInterface& queries) : services_(services), queries_(queries) {}

    [[nodiscard]] std::optional<std::size_t> readingPace(HttpRequest& head) override;
    void handle(std::shared_ptr<Exchange> exchange) override;
    [[nodiscard]] HttpResponse refuse(const HttpRequest& request, int status,
                                      const std::string& reason) override;

  private:
    Services& services_;
    QueryInterface& queries_;
};

}  // namespace zentara::collector
