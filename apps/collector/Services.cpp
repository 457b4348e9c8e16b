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
    std::optional<Envelope> envelope = std::nullopt;  ///< the stored envelope
    std::vector<std::vector<Finding>> findings = {};
    std::vector<Store::Arrival> arrivals = {};

    static Answer json(std::string body) { return {{200, std::move(body), {}}, ""}; }

    static Answer refused(int status, const std::string& why) {
        return {refusal(status, why), why};
    }

    static Answer wrongMethod(const HttpRequest& request, const std::string& allowed) {
        return {collector::wrongMethod(request, allowed), request.path + " takes " + allowed};
    }
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

Delivery Services::answer(Service service, const HttpRequest& request) {
    std::optional<Fault> fault;
    if (request.tag) fault = std::static_pointer_cast<Meeting>(request.tag)->answer();
    const std::string description = fault ? descriptionOf(service, *fault) : "";
    Answer answer;
    try {
        answer = route(service, request, fault, description);
        if (fault && fault->answer == Fault::Answer::garbage) {
            answer.response.status = 200;
            answer.response.body = "<html>\x01\xFF{\"not\": JSON";
        }
        answer.response.status = sentStatus(answer.response.status, fault);
        if (!answer.envelope) {
            store_.addRequest(
                request,
                {.status = answer.response.status, .reason = answer.reason, .fault = description});
        }
    } catch (const StoreError& error) {
        // The client keeps the events and sends them again.
        answer =
            Answer::refused(503, std::string("the database cannot be written: ") + error.what());
        if (options_.complaint) options_.complaint(answer.reason);
    }
    if (options_.report) {
        options_.report(
            {request, answer.response.status, answer.reason, description,
             answer.envelope ? std::move(answer.envelope->actions) : std::vector<Action>(),
             std::move(answer.findings), std::move(answer.arrivals)});
    }

    Delivery delivery{std::move(answer.response)};
    if (fault) {
        delivery.transmission = transmissionOf(fault->answer);
        delivery.delay = std::chrono::milliseconds(fault->latency);
    }
    return delivery;
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
    if (options_.report) {
        options_.report({request, note.status, note.reason, note.fault, {}, {}, {}});
    }
}

Services::Answer Services::route(Service service, const HttpRequest& request,
                                 const std::optional<Fault>& fault,
                                 const std::string& description) {
    if (!takesEffect(fault)) {
        const std::string why = "a fault was asked for: " + description;
        return Answer::refused(fault->answer == Fault::Answer::status ? fault->status : 503, why);
    }
    if (service == Service::event) {
        if (request.method != "POST") return Answer::wrongMethod(request, "POST");
        return acceptEnvelope(request, fault, description);
    }
    if (!isReading(request)) return Answer::wrongMethod(request, "GET");
    if (service == Service::id) return Answer::json(identityFor(request));
    return Answer::json(catalogue_.refreshed()->json);
}

Services::Answer Services::acceptEnvelope(const HttpRequest& request,
                                          const std::optional<Fault>& fault,
                                          const std::string& description) {
    if (!isJSONContent(request)) {
        return Answer::refused(415, "the content type of an envelope is application/json");
    }
    const std::string encoding = request.header("Content-Encoding");
    if (encoding.empty() || equalsIgnoringCase(encoding, "identity"))
        return storeEnvelope(request, fault, description);
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
    return storeEnvelope(plain, fault, description);
}

Services::Answer Services::storeEnvelope(const HttpRequest& request,
                                         const std::optional<Fault>& fault,
                                         const std::string& description) {
    auto read = readEnvelope(request.body);
    if (const auto* mistake = std::get_if<EnvelopeFault>(&read)) {
        return Answer::refused(mistake->kind == EnvelopeFault::Kind::notJSON ? 400 : 422,
                               mistake->reason);
    }
    auto& envelope = std::get<Envelope>(read);
    Answer answer = Answer::json(R"({"received":)" + std::to_string(envelope.actions.size()) + "}");
    answer.findings = checkEnvelope(envelope, *catalogue_.current());
    answer.arrivals =
        store_.addEnvelope(request, envelope, answer.findings,
                           {.status = sentStatus(200, fault), .reason = "", .fault = description});
    answer.envelope = std::move(envelope);
    if (options_.recorder != nullptr && !options_.recorder->append(answer.arrivals) &&
        options_.complaint) {
        options_.complaint("the file of --record cannot be written");
    }
    return answer;
}

}  // namespace zentara::collector
