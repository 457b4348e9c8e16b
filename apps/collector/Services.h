#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "collector/Faults.h"
#include "collector/data/ArrivalCheck.h"
#include "collector/data/EventRecorder.h"
#include "collector/data/SchemaCatalogue.h"
#include "collector/data/Store.h"
#include "collector/http/Exchange.h"

namespace zentara::collector {

/// What happened to a request to one of the services.
struct RequestReport {
    const HttpRequest& request;
    int status = 0;      ///< 0 when no answer goes out
    std::string reason;  ///< why it was refused; empty when it was not
    std::string fault;   ///< what went wrong on purpose; empty when nothing did

    // What was stored; the three lists are as long as each other.
    std::vector<Action> actions;
    std::vector<std::vector<Finding>> findings;
    std::vector<Store::Arrival> arrivals;
};

/// The services that the library speaks to, request in and delivery out, without a network.
///
///     GET  /schemas   the table of all schemas
///     GET  /id        an anonymous identity; renewed when the cookie qvn_uid names one
///     POST /event     takes an envelope
///
/// Every request is kept in the store before its answer is given, with the fault that it met.
/// Whatever is refused is answered with a 4xx status and {"error": reason}. Any thread.
class Services {
  public:
    struct Options {
        EventRecorder* recorder = nullptr;                  ///< outlives the services
        std::function<void(const RequestReport&)> report;   ///< on the thread of the request
        std::function<void(const std::string&)> complaint;  ///< something is wrong with the program
    };

    /// The references outlive the services.
    Services(Store& store, SchemaCatalogue& catalogue, Faults& faults, Options options);
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    /// The service at `path`; nothing when there is none.
    [[nodiscard]] static std::optional<Service> at(std::string_view path);

    /// The head of a request has come: decides which fault it meets, and notes that in it. Gives
    /// how fast its body is to be read, as `HttpHandler::readingPace`. A request that never becomes
    /// whole is kept as one that was not answered.
    [[nodiscard]] std::optional<std::size_t> begin(Service service, HttpRequest& head);

    /// Answers a request that `begin` has seen, or that has none of its own.
    [[nodiscard]] Delivery answer(Service service, const HttpRequest& request);

    /// The answer to a request that reaches no service.
    [[nodiscard]] HttpResponse refuse(const HttpRequest& request, int status,
                                      const std::string& reason);

  private:
    struct Answer;
    class Meeting;

    [[nodiscard]] Answer route(Service service, const HttpRequest& request,
                               const std::optional<Fault>& fault, const std::string& description);
    [[nodiscard]] Answer acceptEnvelope(const HttpRequest& request,
                                        const std::optional<Fault>& fault,
                                        const std::string& description);
    void noteUnfinished(const HttpRequest& head, const std::string& fault);
    void keep(const HttpRequest& request, const Answer& answer, const std::string& fault);

    Store& store_;
    SchemaCatalogue& catalogue_;
    Faults& faults_;
    const Options options_;
};

}  // namespace zentara::collector
