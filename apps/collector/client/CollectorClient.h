#pragma once

#include <zentara/JSONValue.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zentara::collector {

/// The collector cannot be reached, or its answer is invalid.
class CollectorError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// An expectation of a test failed. The text names the selection and what arrived instead.
class ExpectationError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Selects events; all set members must match. For designated initialisers:
/// {.schema = "page-view-1", .text = "Home"}.
struct EventSelection {
    enum class Verdict { good, bad, any };

    std::optional<std::string> schema = {};   ///< "{id}-{version}"
    std::optional<std::string> user = {};     ///< the user's token
    std::optional<std::string> tenant = {};   ///< of the envelope
    std::optional<std::string> context = {};  ///< the client's context id
    std::optional<std::string> client = {};   ///< the client's UUID
    std::optional<std::string> text = {};     ///< anywhere in the event's JSON text
    std::optional<std::int64_t> since = {};   ///< received then or later, milliseconds since 1970
    std::optional<std::int64_t> after = {};   ///< with a larger number
    std::optional<bool> duplicate = {};
    /// Of these properties: {{"section", "home"}, {"variant.size", "L"}}. A number, a boolean or
    /// null is compared by its JSON text.
    std::vector<std::pair<std::string, std::string>> properties = {};
    Verdict verdict = Verdict::good;  ///< of the check against the schema on arrival
};

/// The selection as parameters of a query, for `CollectorClient::get`:
/// "schema=page-view-1&good=true".
[[nodiscard]] std::string queryFor(const EventSelection& selection);

/// The result of a wait.
struct FoundEvents {
    bool satisfied = false;          ///< enough events match
    std::size_t total = 0;           ///< that match
    std::vector<JSONObject> events;  ///< at most the first 100 of them
};

/// Counts of everything received.
struct CollectorSummary {
    std::size_t requests = 0;
    std::size_t envelopes = 0;
    std::size_t events = 0;
    std::size_t good = 0;
    std::size_t bad = 0;
    std::size_t distinctActions = 0;
    std::size_t duplicates = 0;
    std::size_t missing = 0;      ///< sequence numbers that have not arrived
    std::int64_t lastNumber = 0;  ///< of the newest event
};

/// Queries a running zentara-collector, for tests.
///
/// ```cpp
/// zentara::collector::CollectorClient collector("http://127.0.0.1:8080");
/// collector.reset();
/// application.openHomePage();
/// const auto view = collector.expectEvent({.schema = "page-view-1", .text = "Home"});
/// EXPECT_EQ(view.at("event").at("properties").at("section"), "home");
/// collector.expectNoEvent({.verdict = EventSelection::Verdict::bad});
/// ```
///
/// Each call sends one request and blocks until it is answered. Any thread. All calls throw
/// `CollectorError`. Events are the JSON objects that docs/collector.md describes.
class CollectorClient {
  public:
    /// `url` is the address that the collector prints, for example "http://127.0.0.1:8080". For
    /// https, `authorityFile` names the certificate authority; empty for those of the system.
    explicit CollectorClient(std::string url, std::string authorityFile = {});

    /// Waits until at least `count` events match, at most `timeout`.
    [[nodiscard]] FoundEvents waitFor(
        const EventSelection& selection, std::size_t count = 1,
        std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    /// Waits for one event and returns it. Throws `ExpectationError` if there is none in time.
    JSONObject expectEvent(const EventSelection& selection,
                           std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

    /// Throws `ExpectationError` if an event matches, now or within `quietTime`. Without a quiet
    /// time the caller must know that everything has arrived.
    void expectNoEvent(const EventSelection& selection,
                       std::chrono::milliseconds quietTime = std::chrono::milliseconds(0)) const;

    /// All events that match, in order of arrival.
    [[nodiscard]] std::vector<JSONObject> events(const EventSelection& selection) const;

    [[nodiscard]] std::size_t count(const EventSelection& selection) const;
    [[nodiscard]] CollectorSummary summary() const;

    /// Removes everything received.
    void reset() const;

    /// Makes `service` ("schemas", "id", "event" or "all") fail, for example with
    /// {{"answer", "status"}, {"status", 503}}.
    void setFault(std::string_view service, const JSONObject& fault) const;
    void clearFaults() const;

    /// The answer to GET `path`, for queries without an operation here.
    [[nodiscard]] JSONValue get(const std::string& path) const;

  private:
    JSONValue ask(const std::string& method, const std::string& path, const std::string& body,
                  std::chrono::milliseconds patience) const;

    std::string url_;
    std::string authorityFile_;
};

}  // namespace zentara::collector
