#pragma once

#include <functional>
#include <string>

#include "collector/EventRecorder.h"
#include "collector/HttpMessage.h"
#include "collector/Store.h"

namespace zentara::collector {

/// The collector's services, request in and response out, without a network.
///
///     GET    /schemas              the schemas table
///     GET    /id                   an anonymous identity; renewed when the cookie qvn_uid names
///     one POST   /event                takes an envelope GET    /received/summary     counts GET
///     /received/events      events with the facts of their envelope; ?schema= GET
///     /received/envelopes   envelopes as posted GET    /received/requests    requests, except
///     those for /received itself DELETE /received             forgets all of it
///
/// The three lists take ?offset= and ?limit=. Whatever is refused is answered with a 4xx status
/// and {"error": reason}. Any thread.
class Services {
  public:
    struct Options {
        std::string schemasTable = "{}";       ///< answered by /schemas as it is
        EventRecorder* recorder = nullptr;     ///< outlives the services
        std::function<void(std::string)> log;  ///< gets a line for each request kept
    };

    /// `store` outlives the services.
    Services(Store& store, Options options);
    Services(const Services&) = delete;
    Services& operator=(const Services&) = delete;

    [[nodiscard]] HttpResponse answer(const HttpRequest& request);

    /// The answer to a request that did not get as far as a service, for example because it is
    /// too large. It is kept like the others.
    [[nodiscard]] HttpResponse refuse(const HttpRequest& request, int status,
                                      const std::string& reason);

  private:
    struct Answer;

    [[nodiscard]] Answer route(const HttpRequest& request);
    [[nodiscard]] Answer acceptEnvelope(const HttpRequest& request);
    [[nodiscard]] Answer showSummary() const;
    [[nodiscard]] HttpResponse keep(const HttpRequest& request, Answer answer);

    Store& store_;
    const Options options_;
};

}  // namespace zentara::collector
