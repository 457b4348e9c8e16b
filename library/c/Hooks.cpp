#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "c/Boundary.h"
#include "text/Unicode.h"

using namespace zentara;
using namespace zentara::c;

static_assert(static_cast<int>(LogLevel::info) == ZENTARA_LOG_INFO &&
                  static_cast<int>(LogLevel::warning) == ZENTARA_LOG_WARNING &&
                  static_cast<int>(LogLevel::fatal) == ZENTARA_LOG_FATAL,
              "the levels are those of LogLevel");
static_assert(static_cast<int>(DeliveryNotice::Kind::delivered) == ZENTARA_DELIVERY_DELIVERED &&
                  static_cast<int>(DeliveryNotice::Kind::evicted) == ZENTARA_DELIVERY_EVICTED &&
                  static_cast<int>(DeliveryNotice::Kind::dropped) == ZENTARA_DELIVERY_DROPPED &&
                  static_cast<int>(DeliveryNotice::Kind::refused) == ZENTARA_DELIVERY_REFUSED,
              "the kinds are those of DeliveryNotice");
using Validation = ValidationReport::Outcome;
static_assert(static_cast<int>(Validation::valid) == ZENTARA_VALIDATION_VALID &&
                  static_cast<int>(Validation::invalid) == ZENTARA_VALIDATION_INVALID &&
                  static_cast<int>(Validation::unknownSchema) ==
                      ZENTARA_VALIDATION_UNKNOWN_SCHEMA &&
                  static_cast<int>(Validation::notReady) == ZENTARA_VALIDATION_NOT_READY,
              "the outcomes are those of ValidationReport");

/// An event on its way to the queue. Holds its properties during the call of the host's function.
struct zentara_outgoing : Handle {
    static constexpr auto kind = HandleKind::outgoing;

    explicit zentara_outgoing(OutgoingEvent& outgoing)
        : Handle(kind, HandleOwner::library),
          values(outgoing),
          event(EventRef(EventRef(), &outgoing.event), HandleOwner::library),
          properties(std::move(outgoing.properties), HandleOwner::library) {}

    OutgoingEvent& values;
    const zentara_event event;
    zentara_properties properties;
    std::string reason;
};

namespace {

/// Hands the properties back. Throws what refuses the event.
EventDecision carryOut(zentara_decision decision, zentara_outgoing& outgoing) {
    if (decision == ZENTARA_DECISION_REFUSE) throw std::runtime_error(outgoing.reason);
    if (decision != ZENTARA_DECISION_QUEUE) return EventDecision::drop;
    if (!outgoing.properties.open.empty()) {
        throw std::runtime_error("an array or object of the properties is still open");
    }
    outgoing.values.properties = std::move(outgoing.properties.root.object());
    return EventDecision::queue;
}

std::vector<zentara_text> borrowedTexts(const std::vector<std::string>& texts) {
    std::vector<zentara_text> all(texts.size());
    std::transform(texts.begin(), texts.end(), all.begin(),
                   [](const std::string& text) { return borrowed(text); });
    return all;
}

void notify(zentara_delivery_observer observer, void* context, const DeliveryNotice& notice) {
    const auto actionUUIDs = borrowedTexts(notice.actionUUIDs);
    const auto reason = withValidUTF8(notice.reason);
    const zentara_delivery_notice record{.size = sizeof record,
                                         .kind = static_cast<zentara_delivery_kind>(notice.kind),
                                         .count = actionUUIDs.size(),
                                         .action_uuids = actionUUIDs.data(),
                                         .reason = borrowed(reason)};
    observer(context, &record);
}

}  // namespace

zentara_status zentara_set_log_sink(zentara_log_level least, zentara_log_sink sink, void* context,
                                    void (*release)(void*)) noexcept {
    return guarded([&] {
        auto function = calling<LogSink>(
            sink, context, release, [](zentara_log_sink its, void* owner, const LogLine& line) {
                const zentara_log_line record{.size = sizeof record,
                                              .level = static_cast<zentara_log_level>(line.level),
                                              .component = borrowed(line.component),
                                              .text = borrowed(line.text)};
                its(owner, &record);
            });
        if (least < ZENTARA_LOG_INFO || least > ZENTARA_LOG_FATAL) {
            refuse(ZENTARA_INVALID_ARGUMENT, "there is no log level " + std::to_string(least));
        }
        ZentaraClient::setLogSink(static_cast<LogLevel>(least), std::move(function));
    });
}

void zentara_quiet_log(void* /*context*/, const zentara_log_line* /*line*/) noexcept {}

const zentara_event* zentara_outgoing_event(const zentara_outgoing* outgoing) noexcept {
    return guardedOr<const zentara_event*>(nullptr, [&] { return &checked(outgoing).event; });
}

zentara_text zentara_outgoing_action_uuid(const zentara_outgoing* outgoing) noexcept {
    return guardedOr(zentara_text{}, [&] { return borrowed(checked(outgoing).values.actionUUID); });
}

zentara_properties* zentara_outgoing_properties(zentara_outgoing* outgoing) noexcept {
    return guardedOr<zentara_properties*>(nullptr, [&] { return &checked(outgoing).properties; });
}

zentara_status zentara_outgoing_set_properties_take(zentara_outgoing* outgoing,
                                                    zentara_properties* properties) noexcept {
    return guarded([&] {
        auto replacement = properties == nullptr ? JSONObject() : taken(properties);
        auto& target = checked(outgoing).properties;
        target.root = JSONValue(std::move(replacement));
        target.open.clear();
    });
}

zentara_text zentara_outgoing_url(const zentara_outgoing* outgoing) noexcept {
    return guardedOr(zentara_text{},
                     [&] { return borrowed(checked(outgoing).values.url.string()); });
}

zentara_text zentara_outgoing_referer(const zentara_outgoing* outgoing) noexcept {
    return guardedOr(zentara_text{},
                     [&] { return borrowed(checked(outgoing).values.referer.string()); });
}

zentara_status zentara_outgoing_set_url(zentara_outgoing* outgoing, zentara_text url) noexcept {
    return guarded([&] { checked(outgoing).values.url = string(url); });
}

zentara_status zentara_outgoing_set_referer(zentara_outgoing* outgoing,
                                            zentara_text referer) noexcept {
    return guarded([&] { checked(outgoing).values.referer = string(referer); });
}

zentara_status zentara_outgoing_set_reason(zentara_outgoing* outgoing,
                                           zentara_text reason) noexcept {
    return guarded([&] { checked(outgoing).reason = withValidUTF8(string(reason)); });
}

zentara_status zentara_set_before_queue(zentara_before_queue function, void* context,
                                        void (*release)(void*)) noexcept {
    return guarded([&] {
        ZentaraClient::setBeforeQueue(
            calling<BeforeQueue>(function, context, release,
                                 [](zentara_before_queue its, void* owner, OutgoingEvent& event) {
                                     zentara_outgoing outgoing(event);
                                     return carryOut(its(owner, &outgoing), outgoing);
                                 }));
    });
}

zentara_status zentara_set_global_properties(const zentara_properties* properties) noexcept {
    return guarded([&] {
        ZentaraClient::setGlobalProperties(properties == nullptr ? JSONObject()
                                                                 : copyOf(checked(properties)));
    });
}

zentara_status zentara_set_global_properties_take(zentara_properties* properties) noexcept {
    return guarded([&] {
        ZentaraClient::setGlobalProperties(properties == nullptr ? JSONObject()
                                                                 : taken(properties));
    });
}

zentara_status zentara_set_delivery_observer(zentara_delivery_observer observer, void* context,
                                             void (*release)(void*)) noexcept {
    return guarded([&] {
        ZentaraClient::setDeliveryObserver(
            calling<DeliveryObserver>(observer, context, release, notify));
    });
}

zentara_status zentara_validate(const zentara_client* client, const zentara_event_draft* draft,
                                zentara_validation_report* report) noexcept {
    return guarded([&] {
        checkRecord(report, report == nullptr ? 0 : report->size);
        const auto event = readDraft(draft, Ownership::copied);
        auto& own = ThreadTexts::own();
        own.validation = clientOf(client)->validate(
            requiredString(event.record.schema_id, "schema id"),
            requiredString(event.record.schema_version, "schema version"), event.properties);
        for (auto& message : own.validation.messages)
            message = withValidUTF8(std::move(message));
        own.messages = borrowedTexts(own.validation.messages);
        writeRecord(report,
                    {.size = sizeof *report,
                     .outcome = static_cast<zentara_validation_outcome>(own.validation.outcome),
                     .count = own.messages.size(),
                     .messages = own.messages.data()});
    });
}

void zentara_set_fail_fast(bool enabled) noexcept {
    static_cast<void>(guarded([&] { ZentaraClient::setFailFast(enabled); }));
}

void zentara_set_session_timeout(int64_t seconds) noexcept {
    // A hundred years at most: a moment of the clocks must be able to hold it.
    const auto timeout = std::chrono::seconds(std::clamp<std::int64_t>(seconds, 0, 3'153'600'000));
    static_cast<void>(guarded([&] { ZentaraClient::setSessionTimeout(timeout); }));
}
