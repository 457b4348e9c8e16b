// Bytes that a client sends to the collector, read as a whole and in pieces, and the answers of the
// services.

#include <algorithm>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "Check.h"
#include "JSONMutator.h"
#include "collector/Services.h"
#include "collector/http/Gunzip.h"
#include "collector/http/HttpMessage.h"
#include "collector/http/HttpRequestReader.h"
#include "json/JSONText.h"

using namespace zentara;
using namespace zentara::collector;
using zentara::fuzz::check;

namespace {

using Names = HttpRequestReader::Names;
using State = HttpRequestReader::State;

struct Received {
    HttpRequest request;
    HttpRequestReader::Refusal refusal;
    State state = State::head;
    bool keepsConnection = false;

    [[nodiscard]] bool operator==(const Received& other) const {
        const auto all = [](const Received& one) {
            const auto& own = one.request;
            return std::tie(one.state, one.refusal.status, one.refusal.reason, one.keepsConnection,
                            own.method, own.target, own.path, own.query, own.headers, own.body);
        };
        return all(*this) == all(other);
    }
};

/// The requests in `bytes` if these arrive `step` at a time.
std::vector<Received> receive(std::string_view bytes, std::size_t step, Names names) {
    std::vector<Received> all;
    std::string input;
    auto reader = std::make_unique<HttpRequestReader>(names);
    for (;;) {
        const auto before = reader->state();
        const auto taken = reader->take(input);
        check(taken <= input.size(), "the reader takes what it was given at most");
        input.erase(0, taken);
        const auto state = reader->state();
        if (state == State::complete || state == State::refused) {
            Received received;
            received.state = state;
            received.keepsConnection = state == State::complete && reader->keepsConnection();
            if (state == State::refused) received.refusal = reader->refusal();
            received.request = std::move(reader->request());
            all.push_back(std::move(received));
            if (!all.back().keepsConnection) return all;
            reader = std::make_unique<HttpRequestReader>(names);
        } else if (taken == 0 && state == before) {
            if (bytes.empty()) return all;
            input += bytes.substr(0, step);
            bytes.remove_prefix(std::min(bytes.size(), step));
        }
    }
}

bool isCompressed(const HttpResponse& response) {
    return std::any_of(response.headers.begin(), response.headers.end(),
                       [](const auto& header) { return header.first == "Content-Encoding"; });
}

void checkBody(const HttpResponse& response) {
    const auto parsed =
        parseJSON(isCompressed(response)
                      ? gunzip(response.body, HttpRequestReader::bodyLimit).body.value_or("")
                      : response.body);
    check(parsed.ok() && parsed->isObject(), "an answer is a JSON object");
    if (response.status != 200) {
        check(response.status >= 400 && response.status < 500, "a refusal has a status of 4xx");
        check(parsed->object().contains("error"), "a refusal has a reason");
    }
}

void checkResponse(const HttpResponse& response) {
    const bool hasBody = response.status != 304;
    if (hasBody) {
        checkBody(response);
    } else {
        check(response.body.empty(), "what has not changed is not sent");
    }
    // A request must not add a header to an answer.
    const auto head = responseHead(response, ConnectionUse::again);
    const auto lines = std::count(head.begin(), head.end(), '\n');
    check(head.ends_with("\r\n\r\n") && head.find("\r\n\r\n") + 4 == head.size() &&
              static_cast<std::size_t>(lines) == (hasBody ? 6 : 3) + response.headers.size() &&
              std::count(head.begin(), head.end(), '\r') == lines,
          "each header is one line");
}

/// Keeps its answer, which the services give at once without a forwarding.
class AnsweredExchange final : public Exchange {
  public:
    explicit AnsweredExchange(const HttpRequest& request) : request_(request) {}

    [[nodiscard]] const HttpRequest& request() const override { return request_; }
    [[nodiscard]] bool isOpen() const override { return true; }
    void deliver(Delivery delivery) override { response = std::move(delivery.response); }
    [[nodiscard]] std::shared_ptr<EventStream> openStream() override { return nullptr; }

    HttpResponse response;

  private:
    const HttpRequest& request_;
};

/// The collector's services over a store in memory.
class Endpoint {
  public:
    void serve(HttpRequest& request) {
        const auto service = Services::at(request.path);
        if (!service) {
            checkResponse(services_.refuse(request, 404, "there is nothing at " + request.path));
            return;
        }
        store_.reset();
        check(!services_.begin(*service, request), "there is no fault");
        const auto exchange = std::make_shared<AnsweredExchange>(request);
        services_.answer(*service, exchange);
        const HttpResponse& response = exchange->response;
        checkResponse(response);
        const auto summary = store_.summary();
        check(summary.requests == 1, "each request is counted");
        check(summary.envelopes == (*service == Service::event && response.status == 200 ? 1 : 0),
              "envelopes answered with 200 are stored, and no others");
        for (const auto& page : {store_.envelopes(), store_.events({})}) {
            for (const auto& record : page.records)
                check(parseJSON(record).ok(), "a stored record is shown as JSON");
        }
    }

    void refuse(const Received& received) {
        const auto& [status, reason] = received.refusal;
        auto response = services_.refuse(received.request, status, reason);
        check(response.status == status, "a refusal keeps its status");
        // Refusals of 5xx are checked like those of 4xx.
        response.status = 400;
        checkResponse(response);
    }

  private:
    Store store_;
    SchemaCatalogue catalogue_{ZENTARA_FUZZ_SCHEMAS};
    Faults faults_{1};
    Services services_{
        store_, catalogue_, faults_, {.report = {}, .complaint = [](const std::string&) {
                                          check(false, "the store can be written");
                                      }}};
};

}  // namespace

/// Half of the time only the body changes, and its length in the head with it.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t capacity, unsigned int seed) {
    constexpr std::string_view headEnd = "\r\n\r\n";
    constexpr std::string_view lengthName = "Content-Length: ";
    const std::string input(fuzz::asText(data, size));
    const auto end = input.find(headEnd);
    const auto length = input.find(lengthName);
    if (seed % 2 == 0 || end == std::string::npos || length > end) {
        return LLVMFuzzerMutate(data, size, capacity);
    }
    std::string body = input.substr(end + headEnd.size());
    const auto bodySize = body.size();
    body.resize(std::max(bodySize, capacity));
    body.resize(fuzz::mutateJSON(reinterpret_cast<std::uint8_t*>(body.data()), bodySize,
                                 body.size(), seed / 2));
    const auto rest = input.find("\r\n", length);
    std::string output = input.substr(0, length + lengthName.size()) + std::to_string(body.size()) +
                         input.substr(rest, end + headEnd.size() - rest) + body;
    output.resize(std::min(output.size(), capacity));
    std::copy(output.begin(), output.end(), data);
    return output.size();
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static auto& endpoint = *new Endpoint;
    const auto bytes = fuzz::asText(data, size);
    for (const auto names : {Names::any, Names::loopback}) {
        auto whole = receive(bytes, bytes.size() + 1, names);
        for (const std::size_t step : {1U, 7U}) {
            check(whole == receive(bytes, step, names), "requests are read the same in any pieces");
        }
        for (auto& received : whole) {
            if (received.state == State::refused) {
                endpoint.refuse(received);
            } else {
                endpoint.serve(received.request);
            }
        }
    }
    return 0;
}
