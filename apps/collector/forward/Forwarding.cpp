#include "collector/forward/Forwarding.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

#include "collector/data/Records.h"
#include "collector/forward/SinkModule.h"

namespace zentara::collector {

namespace {

Outbox::Entry entryOf(const TakenEnvelope& taken) {
    Outbox::Entry entry;
    entry.receivedAt = taken.request->receivedAt;
    entry.user = userOf(*taken.request);
    entry.facts = factsJSON(*taken.request, *taken.envelope, entry.user);
    entry.findings.reserve(taken.findings->size());
    for (const auto& findings : *taken.findings)
        entry.findings.push_back(findingsJSON(findings));
    entry.envelope = taken.envelope;
    return entry;
}

/// 0 for no time at all.
double secondsSince(std::int64_t milliseconds) {
    if (milliseconds == 0) return 0;
    const std::chrono::duration<double> now = std::chrono::system_clock::now().time_since_epoch();
    return std::max(0.0, now.count() - static_cast<double>(milliseconds) / 1000);
}

}  // namespace

Forwarding::Forwarding(const Options& options, Store& store,
                       const std::function<void(const std::string& text)>& complain)
    : shown_(store, options.shown, complain),
      outbox_(options.outbox, options.limits),
      forwarder_(outbox_, makeSink({options.url, options.settings, complain}),
                 Forwarder::Settings{.complain = complain}) {}

void Forwarding::take(TakenEnvelope taken, Outbox::Done done) {
    Outbox::Entry entry = entryOf(taken);
    outbox_.add(std::move(entry), [this, taken = std::move(taken),
                                   done = std::move(done)](const std::string& failure) {
        if (failure.empty()) shown_.offer(taken);
        done(failure);
    });
}

std::string Forwarding::metrics() const {
    const auto outbox = outbox_.statistics();
    const auto handover = forwarder_.statistics();
    std::string text;
    const auto add = [&text](std::string_view name, std::string_view kind, auto value) {
        text += "# TYPE zentara_collector_";
        text += name;
        text += ' ';
        text += kind;
        text += "\nzentara_collector_";
        text += name;
        text += ' ';
        text += std::to_string(value);
        text += '\n';
    };
    add("outbox_events", "gauge", outbox.events);
    add("outbox_refused_events", "gauge", outbox.refused);
    add("outbox_bytes", "gauge", outbox.bytes);
    add("outbox_age_seconds", "gauge", secondsSince(outbox.oldest));
    add("forwarded_events_total", "counter", handover.delivered);
    add("forward_failures_total", "counter", handover.failures);
    add("forward_delay_seconds_sum", "counter",
        std::chrono::duration<double>(handover.delay).count());
    add("events_not_shown_total", "counter", shown_.skipped());
    return text;
}

void Forwarding::stop(std::chrono::milliseconds time) {
    outbox_.flush();
    forwarder_.drain(time);
    forwarder_.stop();
}

}  // namespace zentara::collector
