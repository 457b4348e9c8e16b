#pragma once

#include <atomic>
#include <boost/asio/thread_pool.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "collector/Faults.h"
#include "collector/SchemaPages.h"
#include "collector/Watch.h"
#include "collector/data/Store.h"
#include "collector/http/Exchange.h"

namespace zentara::collector {

/// Received requests, current faults and what is known of the schemas as JSON over HTTP, for tests,
/// scripts and the page, as docs/collector.md describes it; also the catalogue of the events.
/// Invalid requests are answered with a 4xx status and
/// {"error": reason}. Any thread.
class QueryInterface {
  public:
    /// The references outlive the query interface.
    QueryInterface(Store& store, SchemaCatalogue& catalogue, Faults& faults);
    QueryInterface(const QueryInterface&) = delete;
    QueryInterface& operator=(const QueryInterface&) = delete;

    /// Whether `path` belongs to it.
    [[nodiscard]] static bool owns(std::string_view path);

    /// Answers now or later, on another thread.
    void handle(const std::shared_ptr<Exchange>& exchange);

    /// To be called when something was received. Any thread; does not block.
    void notify() { watch_.notify(); }

    /// Answers requests that wait for events, and accepts no more.
    void stop();

  private:
    [[nodiscard]] HttpResponse answer(const HttpRequest& request);
    [[nodiscard]] HttpResponse answerFaults(const HttpRequest& request, std::string_view service);
    void wait(const std::shared_ptr<Exchange>& exchange);
    void answerLater(const std::shared_ptr<Exchange>& exchange);
    [[nodiscard]] std::string summary() const;

    Store& store_;
    Faults& faults_;
    SchemaPages schemas_;
    std::atomic<std::uint64_t> resets_ = 0;
    const std::int64_t started_;  // milliseconds since 1970-01-01 UTC; tells processes apart
    Watch watch_;
    // Searching a large store must not delay the services.
    boost::asio::thread_pool workers_{2};
};

}  // namespace zentara::collector
