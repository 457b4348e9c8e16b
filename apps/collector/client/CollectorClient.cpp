#include <zentara/CollectorClient.h>

#include <curl/curl.h>

#include <memory>
#include <utility>

namespace zentara::collector {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;

// For the answer itself, in addition to the requested wait.
constexpr milliseconds patienceForAnswers = 30s;

void prepareCurl() {
    static const CURLcode result = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (result != CURLE_OK) throw CollectorError(curl_easy_strerror(result));
}

std::string escaped(const std::string& text) {
    const std::unique_ptr<char, decltype(&curl_free)> result(
        curl_easy_escape(nullptr, text.data(), static_cast<int>(text.size())), curl_free);
    if (!result) throw CollectorError("no memory");
    return result.get();
}

std::size_t append(const char* data, std::size_t, std::size_t size, void* body) {
    static_cast<std::string*>(body)->append(data, size);
    return size;
}

std::vector<JSONObject> eventsOf(JSONValue& answer) {
    std::vector<JSONObject> events;
    for (auto& event : answer.at("events").array())
        events.push_back(std::move(event.object()));
    return events;
}

}  // namespace

std::string queryFor(const EventSelection& selection) {
    std::string query;
    const auto add = [&query](const std::string& name, const std::optional<std::string>& value) {
        if (value) query += (query.empty() ? "" : "&") + name + "=" + escaped(*value);
    };
    const auto addNumber = [&add](const char* name, const std::optional<std::int64_t>& value) {
        if (value) add(name, std::to_string(*value));
    };
    add("schema", selection.schema);
    add("user", selection.user);
    add("tenant", selection.tenant);
    add("context", selection.context);
    add("client", selection.client);
    add("text", selection.text);
    addNumber("since", selection.since);
    addNumber("after", selection.after);
    for (const auto& [path, value] : selection.properties)
        add("property." + escaped(path), value);
    if (selection.duplicate) add("duplicate", *selection.duplicate ? "true" : "false");
    using Verdict = EventSelection::Verdict;
    add("good", selection.verdict == Verdict::any    ? "any"
                : selection.verdict == Verdict::good ? "true"
                                                     : "false");
    return query;
}

CollectorClient::CollectorClient(std::string url, std::string authorityFile)
    : url_(std::move(url)), authorityFile_(std::move(authorityFile)) {
    prepareCurl();
    while (url_.ends_with('/'))
        url_.pop_back();
}

FoundEvents CollectorClient::waitFor(const EventSelection& selection, std::size_t count,
                                     milliseconds timeout) const {
    auto answer = ask("GET",
                      "/received/wait?count=" + std::to_string(count) +
                          "&timeout=" + std::to_string(timeout.count()) + "&" + queryFor(selection),
                      {}, timeout + patienceForAnswers);
    return {.satisfied = answer.at("satisfied").boolean(),
            .total = static_cast<std::size_t>(answer.at("total").integer()),
            .events = eventsOf(answer)};
}

JSONObject CollectorClient::expectEvent(const EventSelection& selection,
                                        milliseconds timeout) const {
    auto found = waitFor(selection, 1, timeout);
    if (found.satisfied) return std::move(found.events.front());
    throw ExpectationError("no event with " + queryFor(selection) + " within " +
                           std::to_string(timeout.count()) +
                           " ms; received: " + get("/received/summary").text());
}

void CollectorClient::expectNoEvent(const EventSelection& selection, milliseconds quietTime) const {
    const auto found = waitFor(selection, 1, quietTime);
    if (!found.satisfied) return;
    throw ExpectationError("an event with " + queryFor(selection) +
                           " has arrived: " + JSONValue(found.events.front()).text());
}

std::vector<JSONObject> CollectorClient::events(const EventSelection& selection) const {
    auto answer = get("/received/events?" + queryFor(selection));
    return eventsOf(answer);
}

std::size_t CollectorClient::count(const EventSelection& selection) const {
    const auto answer = get("/received/events?limit=0&" + queryFor(selection));
    return static_cast<std::size_t>(answer.at("total").integer());
}

CollectorSummary CollectorClient::summary() const {
    const auto answer = get("/received/summary");
    const auto number = [&answer](const char* name) {
        return static_cast<std::size_t>(answer.at(name).integer());
    };
    return {.requests = number("requests"),
            .envelopes = number("envelopes"),
            .events = number("events"),
            .good = number("good"),
            .bad = number("bad"),
            .distinctActions = number("distinctActions"),
            .duplicates = number("duplicates"),
            .missing = number("missing"),
            .lastNumber = answer.at("lastNumber").integer()};
}

void CollectorClient::reset() const {
    ask("DELETE", "/received", {}, patienceForAnswers);
}

void CollectorClient::setFault(std::string_view service, const JSONObject& fault) const {
    ask("PUT", "/faults/" + std::string(service), JSONValue(fault).text(), patienceForAnswers);
}

void CollectorClient::clearFaults() const {
    ask("DELETE", "/faults", {}, patienceForAnswers);
}

JSONValue CollectorClient::get(const std::string& path) const {
    return ask("GET", path, {}, patienceForAnswers);
}

JSONValue CollectorClient::ask(const std::string& method, const std::string& path,
                               const std::string& body, milliseconds patience) const {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                   curl_easy_cleanup);
    if (!curl) throw CollectorError("no memory");
    const std::string url = url_ + path;
    std::string answer;
    curl_easy_setopt(curl.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_CUSTOMREQUEST, method.c_str());
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_NOPROXY, "*");
    curl_easy_setopt(curl.get(), CURLOPT_TIMEOUT_MS, static_cast<long>(patience.count()));
    curl_easy_setopt(curl.get(), CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl.get(), CURLOPT_WRITEDATA, &answer);
    if (!authorityFile_.empty()) {
        curl_easy_setopt(curl.get(), CURLOPT_CAINFO, authorityFile_.c_str());
    }
    std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(nullptr,
                                                                        curl_slist_free_all);
    if (!body.empty()) {
        headers.reset(curl_slist_append(nullptr, "Content-Type: application/json"));
        curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.data());
        curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE_LARGE,
                         static_cast<curl_off_t>(body.size()));
    }
    const CURLcode result = curl_easy_perform(curl.get());
    const std::string request = method + " " + url;
    if (result != CURLE_OK) throw CollectorError(request + ": " + curl_easy_strerror(result));
    long status = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &status);
    if (status != 200) {
        throw CollectorError(request + ": " + std::to_string(status) + " " + answer);
    }
    try {
        return JSONValue::parse(answer);
    } catch (const std::invalid_argument& error) {
        throw CollectorError(request + ": the answer is not " + error.what());
    }
}

}  // namespace zentara::collector
