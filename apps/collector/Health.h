#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// Tells load balancers and supervisors about the collector:
///
///     GET /health/live    200 while it runs
///     GET /health/ready   200 while it takes events, otherwise 503 with the reasons
///     GET /health         the same as /health/ready
///
/// Any thread, except for `add`.
class Health {
  public:
    /// Why the collector is not ready; empty if it is. Must not block.
    using Check = std::function<std::string()>;

    [[nodiscard]] static bool owns(std::string_view path);

    /// Before use.
    void add(Check check) { checks_.push_back(std::move(check)); }

    /// Not ready from now on.
    void beginStop() { isStopping_ = true; }

    /// The answer to a request that it owns.
    [[nodiscard]] HttpResponse answer(const HttpRequest& request) const;

  private:
    [[nodiscard]] HttpResponse readiness() const;

    std::vector<Check> checks_;
    std::atomic<bool> isStopping_ = false;
};

}  // namespace zentara::collector
