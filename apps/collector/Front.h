#pragma once

#include "collector/QueryInterface.h"
#include "collector/Services.h"
#include "collector/http/Exchange.h"

namespace zentara::collector {

/// Sends each request to where it belongs: the services, the query interface, or the files of the
/// page. The services' faults act here, on nothing else.
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
