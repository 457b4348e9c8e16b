#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "collector/Faults.h"
#include "collector/SchemaTable.h"
#include "collector/data/ArrivalCheck.h"
#include "collector/data/EventRecorder.h"
#include "collector/data/SchemaCatalogue.h"
#include "collector/data/Store.h"
#include "collector/forward/Forwarding.h"
#include "collector/http/Exchange.h"

namespace zentara::collector {

/// The outcome of a request to one of the services.
struct RequestReport {
    const HttpRequest& request;
    int status = 0;      ///< 0 if no answer is sent
    std::string reason;  ///< why it was refused; empty if it was not
    std::string fault;   ///< the fault that it met; empty if there was none

    // The stored events; the three lists have the same length.
    std::span<const Action> actions;
    std::span<const std::vector<Finding>> findings;
    std::span<const Store::Arrival> arrivals;

    std::chrono::nanoseconds took{0};  ///< from the first byte of the request to the answer
};

/// The services that the library uses, without a network: requests in, deliveries out.
///
///     GET  /schemas   the table of all schemas
///     GET  /id        an anonymous identity; renewed when the cookie qvn_uid names one
///     POST /event     takes an envelope
///
/// Every request is stored before it is answered, with the fault that it met; with a forwarding,
/// the events are in its outbox instead. Refused requests are answered with a 4xx status and
/// {"error": reason}. Any thread.
class Services {
  public:
    struct Options {
        EventRecorder* recorder = nullptr;                  ///< outlives the services
        Forwarding* forwarding = nullptr;                   ///< outlives the requests
        std::function<void(const RequestReport&)> report;   ///< on any thread
        std::function<void(const std::string&)> complaint;  ///< gets failures of the collector
    };

    /// The references outlive the services.
    Services(Store& store, SchemaCatalogue& catalogue, Faults& faults, Options options);
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    /// The service at `path`, if there is one.
    [[nodiscard]] static std::optional<Service> at(std::string_view path);

    /// Called with the head of a request: selects its fault and keeps it in the tag of the request.
    /// Returns how fast to read the body, as `HttpHandler::readingPace`. A request that stays
    /// incomplete is stored as unanswered.
    [[nodiscard]] std::optional<std::size_t> begin(Service service, HttpRequest& head);

    /// Answers a request, with the fault that `begin` selected for it; later, if its events are to
    /// be committed by another thread.
    void answer(Service service, const std::shared_ptr<Exchange>& exchange);

    /// The answer to a request that reaches no service.
    [[nodiscard]] HttpResponse refuse(const HttpRequest& request, int status,
                                      const std::string& reason);

    /// The same for a request that is not worth a place in the store.
    [[nodiscard]] HttpResponse turnAway(const HttpRequest& request, int status,
                                        const std::string& reason);

  private:
    struct Answer;
    struct MetFault;
    class Meeting;

    [[nodiscard]] Answer route(Service service, const HttpRequest& request, const MetFault& met);
    [[nodiscard]] Answer acceptEnvelope(const HttpRequest& request, const MetFault& met);
    /// The same with the body inflated.
    [[nodiscard]] Answer takeEnvelope(const HttpRequest& request, const MetFault& met);
    [[nodiscard]] Answer unstored(const std::string& failure) const;
    void forward(const std::shared_ptr<Exchange>& exchange, Answer answer, MetFault met);
    void finish(Exchange& exchange, Answer answer, const MetFault& met);
    /// Stores and reports a request that reaches no service.
    void note(const HttpRequest& request, const Store::RequestNote& note);

    void report(const HttpRequest& request, const Store::RequestNote& note) const;

    Store& store_;
    SchemaCatalogue& catalogue_;
    Faults& faults_;
    SchemaTable schemas_;
    const Options options_;
};

}  // namespace zentara::collector
