#include "collector/Faults.h"

#include <algorithm>
#include <utility>

namespace zentara::collector {

namespace {

constexpr std::array<std::string_view, allServices.size()> serviceNames{"schemas", "id", "event"};

constexpr std::array<std::string_view, 8> answerNames{"normal", "status",    "none",    "dropped",
                                                      "lost",   "truncated", "garbage", "not-http"};

std::size_t placeOf(Service service) {
    return static_cast<std::size_t>(service);
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

}  // namespace zentara::collector
