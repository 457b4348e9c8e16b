#include "collector/Services.h"

#include <algorithm>
#include <string_view>
#include <utility>
#include <variant>

#include "collector/Identity.h"
#include "collector/Refusal.h"
#include "collector/data/Envelope.h"
#include "collector/http/Gunzip.h"
#include "collector/http/HttpRequestReader.h"
#include "identity/ZentaraIDManager.h"
#include "support/ASCII.h"

namespace zentara::collector {

struct Services::Answer {
    HttpResponse response;
    std::string reason;  ///< why the request was refused; empty if it was not
    TakenEnvelope taken = {};
    std::vector<Store::Arrival> arrivals = {};

    static Answer json(std::string body) { return {{200, std::move(body), {}}, ""}; }

    static Answer refused(int status, const std::string& why) {
        return {refusal(status, why), why};
    }

    /// The client keeps the events and comes again.
    static Answer refusedForNow(const std::string& why) {
        Answer answer = refused(503, why);
        answer.response.headers.emplace_back("Retry-After", "30");
        return answer;
    }

    static Answer wrongMethod(const HttpRequest& request, const std::string& allowed) {
        return {collector::wrongMethod(request, allowed), request.path + " takes " + allowed};
    }
};

struct Services::MetFault {
    std::optional<Fault> fault;
    std::string description;  ///< empty if there was none
};

/// The fault that a request has met, from its head to its answer.
class Services::Meeting {
  public:
    Meeting(Services& services, const HttpRequest& head, Fault fault, std::string description)
        : services_(services),
          head_(head),
          fault_(std::move(fault)),
          description_(std::move(description)) {}
    Meeting(const Meeting&) = delete;
    Meeting& operator=(const Meeting&) = delete;

    ~Meeting() {
        if (isAnswered_) return;
        services_.note(head_,
                       {.status = 0, .reason = "the request is incomplete", .fault = description_});
    }

    const Fault& answer() {
        isAnswered_ = true;
        return fault_;
    }

  private:
    Services& services_;
    const HttpRequest head_;
    const Fault fault_;
    const std::string description_;
    bool isAnswered_ = false;
};

namespace {

std::string descriptionOf(Service service, const Fault& fault) {
    return std::string(nameOf(service)) + ": " + fault.description();
}

std::chrono::nanoseconds elapsedSince(const HttpRequest& request) {
    return std::chrono::steady_clock::now() - request.startedAt;
}

bool hasBody(const HttpRequest& head) {
    const std::string length = head.header("Content-Length");
    return !head.header("Transfer-Encoding").empty() ||
           length.find_first_not_of('0') != std::string::npos;
}

std::string identityFor(const HttpRequest& request) {
    std::optional<std::string> known;
    for (auto& [name, value] : parseCookies(request.header("Cookie", ";"))) {
        if (name == ZentaraIDManager::anonymousTokenName && isIdentityValue(value))
            known = std::move(value);
    }
    const Identity identity = issueIdentity(known);
    return JSONValue(JSONObject{{ZentaraIDManager::anonymousTokenName, identity.value},
                                {ZentaraIDManager::anonymousPublicTokenName, identity.publicValue},
                                {ZentaraIDManager::hsidTokenName, identity.session}})
        .text();
}

bool isJSONContent(const HttpRequest& request) {
    std::string type = request.header("Content-Type");
    type = type.substr(0, type.find(';'));
    type.erase(type.find_last_not_of(" \t") + 1);
    return equalsIgnoringCase(type, "application/json");
}

/// Whether a request that meets `fault` is processed before its answer fails.
bool takesEffect(const std::optional<Fault>& fault) {
    return !fault ||
           (fault->answer != Fault::Answer::status && fault->answer != Fault::Answer::none &&
            fault->answer != Fault::Answer::dropped);
}

Transmission transmissionOf(Fault::Answer answer) {
    switch (answer) {
        case Fault::Answer::none:
            return Transmission::none;
        case Fault::Answer::dropped:
        case Fault::Answer::lost:
            return Transmission::dropped;
        case Fault::Answer::truncated:
            return Transmission::truncated;
        case Fault::Answer::notHTTP:
            return Transmission::garbage;
        default:
            return Transmission::whole;
    }
}

/// The status that the client sees.
int sentStatus(int status, const std::optional<Fault>& fault) {
    if (!fault) return status;
    switch (transmissionOf(fault->answer)) {
        case Transmission::none:
        case Transmission::dropped:
        case Transmission::garbage:
            return 0;
        default:
            return status;
    }
}

}  // namespace

Services::Services(Store& store, SchemaCatalogue& catalogue, Faults& faults, Options options)
    : store_(store), catalogue_(catalogue), faults_(faults), options_(std::move(options)) {}

std::optional<Service> Services::at(std::string_view path) {
    if (!path.starts_with('/')) return std::nullopt;
    return serviceNamed(path.substr(1));
}

std::optional<std::size_t> Services::begin(Service service, HttpRequest& head) {
    auto fault = faults_.next(service);
    if (fault && !hasBody(head)) fault->readingPace.reset();
    if (!fault || !fault->isEffective()) return std::nullopt;
    head.tag = std::make_shared<Meeting>(*this, head, *fault, descriptionOf(service, *fault));
    return fault->readingPace;
}

void Services::answer(Service service, const std::shared_ptr<Exchange>& exchange) {
    const HttpRequest& request = exchange->request();
    MetFault met;
    if (request.tag) {
        met.fault = std::static_pointer_cast<Meeting>(request.tag)->answer();
        met.description = descriptionOf(service, *met.fault);
    }
    Answer answer;
    try {
        answer = route(service, request, met);
        if (met.fault && met.fault->answer == Fault::Answer::garbage) {
            answer.response.status = 200;
            answer.response.headers.clear();
            answer.response.body = "<html>\x01\xFF{\"not\": JSON";
        }
        answer.response.status = sentStatus(answer.response.status, met.fault);
        if (!answer.taken.envelope) {
            store_.addRequest(request, {.status = answer.response.status,
                                        .reason = answer.reason,
                                        .fault = met.description});
        }
    } catch (const StoreError& error) {
        answer = unstored(error.what());
    }
    if (options_.forwarding != nullptr && answer.taken.envelope) {
        forward(exchange, std::move(answer), std::move(met));
    } else {
        finish(*exchange, std::move(answer), met);
    }
}

// The client keeps the events and sends them again.
Services::Answer Services::unstored(const std::string& failure) const {
    Answer answer = Answer::refused(503, "the database cannot be written: " + failure);
    if (options_.complaint) options_.complaint(answer.reason);
    return answer;
}

void Services::forward(const std::shared_ptr<Exchange>& exchange, Answer answer, MetFault met) {
    TakenEnvelope taken = answer.taken;
    options_.forwarding->take(std::move(taken), [this, exchange, answer = std::move(answer),
                                                 met = std::move(met)](const std::string& failure) {
        finish(*exchange, failure.empty() ? answer : unstored(failure), met);
    });
}

void Services::finish(Exchange& exchange, Answer answer, const MetFault& met) {
    if (options_.report) {
        RequestReport report{
            exchange.request(), answer.response.status, answer.reason, met.description, {}, {}, {}};
        report.took = elapsedSince(exchange.request());
        if (answer.taken.envelope) {
            report.actions = answer.taken.envelope->actions;
            report.findings = *answer.taken.findings;
            report.arrivals = answer.arrivals;
        }
        options_.report(report);
    }
    Delivery delivery{std::move(answer.response)};
    if (met.fault) {
        delivery.transmission = transmissionOf(met.fault->answer);
        delivery.delay = std::chrono::milliseconds(met.fault->latency);
    }
    exchange.deliver(std::move(delivery));
}

HttpResponse Services::refuse(const HttpRequest& request, int status, const std::string& reason) {
    note(request, {.status = status, .reason = reason, .fault = ""});
    return refusal(status, reason);
}

void Services::note(const HttpRequest& request, const Store::RequestNote& note) {
    try {
        store_.addRequest(request, note);
    } catch (const StoreError& error) {
        if (options_.complaint) options_.complaint(error.what());
    }
    report(request, note);
}

HttpResponse Services::turnAway(const HttpRequest& request, int status, const std::string& reason) {
    report(request, {.status = status, .reason = reason, .fault = ""});
    return refusal(status, reason);
}

void Services::report(const HttpRequest& request, const Store::RequestNote& note) const {
    if (!options_.report) return;
    options_.report(
        {request, note.status, note.reason, note.fault, {}, {}, {}, elapsedSince(request)});
}

Services::Answer Services::route(Service service, const HttpRequest& request, const MetFault& met) {
    if (!takesEffect(met.fault)) {
        const bool hasStatus = met.fault->answer == Fault::Answer::status;
        auto answer = Answer::refused(hasStatus ? met.fault->status : 503,
                                      "a fault was asked for: " + met.description);
        if (hasStatus && met.fault->retryAfter) {
            answer.response.headers.emplace_back("Retry-After",
                                                 std::to_string(*met.fault->retryAfter));
        }
        return answer;
    }
    if (service == Service::event) {
        if (request.method != "POST") return Answer::wrongMethod(request, "POST");
        return acceptEnvelope(request, met);
    }
    if (!isReading(request)) return Answer::wrongMethod(request, "GET");
    if (service == Service::id) return Answer::json(identityFor(request));
    return {schemas_.answer(request, catalogue_.refreshed()), ""};
}

Services::Answer Services::acceptEnvelope(const HttpRequest& request, const MetFault& met) {
    if (!isJSONContent(request)) {
        return Answer::refused(415, "the content type of an envelope is application/json");
    }
    const std::string encoding = request.header("Content-Encoding");
    if (encoding.empty() || equalsIgnoringCase(encoding, "identity"))
        return takeEnvelope(request, met);
    if (!equalsIgnoringCase(encoding, "gzip"))
        return Answer::refused(415, "the content encoding of an envelope is gzip, or none");
    auto inflated = gunzip(request.body, HttpRequestReader::bodyLimit);
    if (inflated.isTooLarge) {
        return Answer::refused(413, "a body has at most " +
                                        std::to_string(HttpRequestReader::bodyLimit) +
                                        " bytes, also when it is inflated");
    }
    if (!inflated.body) return Answer::refused(400, "the body is not in the gzip format");
    auto plain = request;
    plain.body = *std::move(inflated.body);
    return takeEnvelope(plain, met);
}

Services::Answer Services::takeEnvelope(const HttpRequest& request, const MetFault& met) {
    if (options_.forwarding != nullptr) {
        const std::string why = options_.forwarding->whyFull(request.receivedAt);
        if (!why.empty()) return Answer::refusedForNow(why);
    }
    auto read = readEnvelope(request.body);
    if (const auto* mistake = std::get_if<EnvelopeFault>(&read)) {
        return Answer::refused(mistake->kind == EnvelopeFault::Kind::notJSON ? 400 : 422,
                               mistake->reason);
    }
    const auto envelope = std::make_shared<const Envelope>(std::move(std::get<Envelope>(read)));
    Answer answer =
        Answer::json(R"({"received":)" + std::to_string(envelope->actions.size()) + "}");
    const auto findings = std::make_shared<const std::vector<std::vector<Finding>>>(
        checkEnvelope(*envelope, *catalogue_.current()));
    const Store::RequestNote note{
        .status = sentStatus(200, met.fault), .reason = "", .fault = met.description};
    answer.taken = {nullptr, envelope, findings, note};
    if (options_.forwarding != nullptr) {
        answer.taken.request = std::make_shared<const HttpRequest>(request);
        for (std::size_t i = 0; i < envelope->actions.size(); ++i) {
            const Action& action = envelope->actions[i];
            answer.arrivals.push_back({.schema = action.schema,
                                       .actionUUID = action.uuid,
                                       .good = findings->at(i).empty(),
                                       .record = {}});
        }
        return answer;
    }
    answer.arrivals = store_.addEnvelope(request, *envelope, *findings, note);
    if (options_.recorder != nullptr && !options_.recorder->append(answer.arrivals) &&
        options_.complaint) {
        options_.complaint("the file of --record cannot be written");
    }
    return answer;
}

}  // namespace zentara::collector
