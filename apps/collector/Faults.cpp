#include "collector/Faults.h"

#include <algorithm>
#include <limits>

#include "json/JSONParser.h"

namespace zentara::collector {

namespace {

constexpr std::array<std::string_view, allServices.size()> serviceNames{"schemas", "id", "event"};

constexpr std::array<std::string_view, 8> answerNames{"normal", "status",    "none",    "dropped",
                                                      "lost",   "truncated", "garbage", "not-http"};

std::size_t placeOf(Service service) {
    return static_cast<std::size_t>(service);
}

std::string range(std::int64_t least, std::int64_t most) {
    if (most == std::numeric_limits<std::int64_t>::max()) {
        return "an integer of at least " + std::to_string(least);
    }
    return "an integer from " + std::to_string(least) + " to " + std::to_string(most);
}

/// Reads the members of a fault from JSON and from the command line.
class FaultReader {
  public:
    void take(std::string_view name, const JSONValue& value) {
        constexpr auto unbounded = std::numeric_limits<std::int64_t>::max();
        if (name == "answer") {
            takeAnswer(value);
        } else if (name == "status") {
            hasStatus_ = true;
            fault_.status = static_cast<int>(integer(name, value, 200, 599));
        } else if (name == "rate") {
            takeRate(value);
        } else if (name == "times") {
            fault_.times.reset();
            if (!value.isNull()) fault_.times = integer(name, value, 1, unbounded);
        } else if (name == "latency") {
            fault_.latency = integer(name, value, 0, Fault::longestLatency);
        } else if (name == "readingPace") {
            fault_.readingPace.reset();
            if (!value.isNull()) fault_.readingPace = integer(name, value, 1, unbounded);
        } else if (name == "retryAfter") {
            fault_.retryAfter.reset();
            if (!value.isNull())
                fault_.retryAfter = integer(name, value, 0, Fault::longestRetryAfter);
        } else {
            note("a fault has no member \"" + std::string(name) +
                 "\", but answer, status, rate, times, latency, readingPace and retryAfter");
        }
    }

    void note(const std::string& reason) {
        if (reason_.empty()) reason_ = reason;
    }

    [[nodiscard]] std::variant<Fault, std::string> result() const {
        if (!reason_.empty()) return reason_;
        Fault fault = fault_;
        if (hasStatus_ && !hasAnswer_) fault.answer = Fault::Answer::status;
        return fault;
    }

  private:
    void takeAnswer(const JSONValue& value) {
        const auto text = value.ifString();
        const auto answer = text ? answerNamed(*text) : std::nullopt;
        if (!answer) {
            return note(
                "answer is one of normal, status, none, dropped, lost, truncated, garbage "
                "and not-http");
        }
        hasAnswer_ = true;
        fault_.answer = *answer;
    }

    void takeRate(const JSONValue& value) {
        const auto rate = value.asDouble();
        if (!rate || !(*rate >= 0 && *rate <= 1)) return note("rate is a number from 0 to 1");
        fault_.rate = *rate;
    }

    std::int64_t integer(std::string_view name, const JSONValue& value, std::int64_t least,
                         std::int64_t most) {
        const auto number = value.asInteger();
        if (number && *number >= least && *number <= most) return *number;
        note(std::string(name) + " is " + range(least, most));
        return least;
    }

    Fault fault_;
    bool hasAnswer_ = false;
    bool hasStatus_ = false;
    std::string reason_;
};

/// A setting of the command line as JSON: a number or a text.
JSONValue settingValue(std::string_view text) {
    auto value = parseJSONValue(text);
    return value.ok() && value->isNumber() ? *std::move(value) : JSONValue(text);
}

JSONValue countJSON(const std::optional<std::uint64_t>& count) {
    return count ? JSONValue(*count) : JSONValue();
}

JSONObject faultJSON(const Fault& fault) {
    JSONObject json{{"answer", nameOf(fault.answer)},
                    {"status", fault.status},
                    {"rate", fault.rate},
                    {"times", countJSON(fault.times)},
                    {"latency", fault.latency},
                    {"readingPace", countJSON(fault.readingPace)}};
    if (fault.retryAfter) json.set("retryAfter", *fault.retryAfter);
    return json;
}

}  // namespace

std::string_view nameOf(Service service) {
    return serviceNames[placeOf(service)];
}

std::optional<Service> serviceNamed(std::string_view name) {
    for (const Service service : allServices) {
        if (nameOf(service) == name) return service;
    }
    return std::nullopt;
}

std::vector<Service> servicesNamed(std::string_view name) {
    if (name == "all") return {allServices.begin(), allServices.end()};
    const auto service = serviceNamed(name);
    return service ? std::vector{*service} : std::vector<Service>{};
}

std::string_view nameOf(Fault::Answer answer) {
    return answerNames[static_cast<std::size_t>(answer)];
}

std::optional<Fault::Answer> answerNamed(std::string_view name) {
    const auto* const found = std::find(answerNames.begin(), answerNames.end(), name);
    if (found == answerNames.end()) return std::nullopt;
    return static_cast<Fault::Answer>(found - answerNames.begin());
}

bool Fault::isEffective() const {
    return (answer != Answer::normal || latency > 0 || readingPace) && rate > 0 && times != 0U;
}

std::string Fault::description() const {
    std::string text;
    const auto add = [&text](const std::string& part) {
        text += (text.empty() ? "" : ", ") + part;
    };
    if (answer == Answer::status) {
        add("status " + std::to_string(status));
    } else if (answer != Answer::normal) {
        add(std::string(nameOf(answer)));
    }
    if (latency > 0) add("latency " + std::to_string(latency) + " ms");
    if (readingPace) add("reading pace " + std::to_string(*readingPace) + " bytes/s");
    return text.empty() ? std::string(nameOf(answer)) : text;
}

Faults::Faults(std::uint64_t seed) : generator_(seed) {}

void Faults::set(Service service, const Fault& fault) {
    const std::lock_guard lock(mutex_);
    auto& current = faults_[placeOf(service)];
    if (fault.isEffective()) {
        current = fault;
    } else {
        current.reset();
    }
}

void Faults::clear(Service service) {
    const std::lock_guard lock(mutex_);
    faults_[placeOf(service)].reset();
}

void Faults::clear() {
    const std::lock_guard lock(mutex_);
    faults_ = {};
}

std::optional<Fault> Faults::next(Service service) {
    const std::lock_guard lock(mutex_);
    auto& current = faults_[placeOf(service)];
    if (!current || !std::bernoulli_distribution(current->rate)(generator_)) return std::nullopt;
    std::optional<Fault> met = current;
    if (current->times && --*current->times == 0) current.reset();
    return met;
}

std::optional<Fault> Faults::current(Service service) const {
    const std::lock_guard lock(mutex_);
    return faults_[placeOf(service)];
}

std::variant<Fault, std::string> readFault(std::string_view text) {
    const auto value = parseJSONValue(text);
    const auto* const object = value.ok() ? value->ifObject() : nullptr;
    if (object == nullptr) return "a fault is a JSON object";
    FaultReader reader;
    for (const auto& [name, member] : *object)
        reader.take(name, member);
    return reader.result();
}

std::variant<ServiceFaults, std::string> readFaultOption(std::string_view option) {
    const std::size_t colon = std::min(option.find(':'), option.size());
    const auto services = servicesNamed(option.substr(0, colon));
    if (services.empty()) {
        return "a fault begins with schemas:, id:, event: or all:, not \"" +
               std::string(option.substr(0, colon)) + "\"";
    }
    std::string_view settings = option.substr(std::min(option.size(), colon + 1));
    if (settings.empty()) return "a fault has settings, for example event:status=503";

    FaultReader reader;
    while (!settings.empty()) {
        const std::string_view setting = settings.substr(0, settings.find(','));
        settings.remove_prefix(std::min(settings.size(), setting.size() + 1));
        const std::size_t equals = setting.find('=');
        if (equals == std::string_view::npos) {
            reader.note("\"" + std::string(setting) + "\" has no value");
        } else {
            reader.take(setting.substr(0, equals), settingValue(setting.substr(equals + 1)));
        }
    }
    const auto read = reader.result();
    if (const auto* reason = std::get_if<std::string>(&read)) return *reason;
    ServiceFaults faults;
    for (const Service service : services)
        faults.emplace_back(service, std::get<Fault>(read));
    return faults;
}

std::string faultsText(const Faults& faults) {
    JSONObject json;
    for (const Service service : allServices) {
        const auto fault = faults.current(service);
        json.set(nameOf(service), fault ? JSONValue(faultJSON(*fault)) : JSONValue());
    }
    return JSONValue(std::move(json)).text();
}

}  // namespace zentara::collector
