#include <memory>
#include <utility>

#include "c/Boundary.h"
#include "c/ErrorKinds.h"
#include "model/EventAccess.h"

using namespace zentara;
using namespace zentara::c;

namespace {

ZentaraClientErrorRef errorOf(zentara_error_kind kind, const std::string& detail) {
#define ZENTARA_MAKE_PLAIN(name, kindOfName) \
    if (kind == kindOfName) return std::make_shared<name>();
#define ZENTARA_MAKE_DETAILED(name, kindOfName) \
    if (kind == kindOfName) return std::make_shared<name>(detail);
    ZENTARA_EACH_PLAIN_ERROR(ZENTARA_MAKE_PLAIN)
    ZENTARA_EACH_DETAILED_ERROR(ZENTARA_MAKE_DETAILED)
#undef ZENTARA_MAKE_PLAIN
#undef ZENTARA_MAKE_DETAILED
    refuse(ZENTARA_INVALID_ARGUMENT, "there are no errors of kind " + std::to_string(kind));
}

zentara_error_kind kindOf(const ZentaraClientError& error) {
#define ZENTARA_FIND_KIND(name, kindOfName) \
    if (dynamic_cast<const name*>(&error) != nullptr) return kindOfName;
    ZENTARA_EACH_PLAIN_ERROR(ZENTARA_FIND_KIND)
    ZENTARA_EACH_DETAILED_ERROR(ZENTARA_FIND_KIND)
#undef ZENTARA_FIND_KIND
    return ZENTARA_ERROR_OTHER;
}

/// The error behind a handle; null for null and what is no such handle.
const ZentaraClientError* errorIn(const zentara_error* handle) noexcept {
    if (handle == nullptr || !handle->is(zentara_error::kind)) return nullptr;
    return handle->error.get();
}

zentara_event* makeEvent(const zentara_event_draft* record, Ownership ownership) noexcept {
    return guardedOr<zentara_event*>(nullptr, [&] {
        auto draft = readDraft(record, ownership);
        const auto& texts = draft.record;
        return std::make_unique<zentara_event>(
                   ZentaraClient::createEvent(
                       requiredString(texts.schema_id, "schema id"),
                       requiredString(texts.schema_version, "schema version"),
                       string(texts.content_type), string(texts.url), string(texts.referer),
                       std::move(draft.properties), optionalString(texts.relation_id)))
            .release();
    });
}

}  // namespace

zentara_error_kind zentara_error_kind_of(const zentara_error* error) noexcept {
    if (error == nullptr) return ZENTARA_ERROR_NONE;
    const auto* const values = errorIn(error);
    return values == nullptr ? ZENTARA_ERROR_OTHER : kindOf(*values);
}

zentara_text zentara_error_domain(const zentara_error* error) noexcept {
    const auto* const values = errorIn(error);
    return values == nullptr ? zentara_text{} : borrowed(values->domain());
}

int64_t zentara_error_code(const zentara_error* error) noexcept {
    const auto* const values = errorIn(error);
    return values == nullptr ? -1 : values->code();
}

zentara_text zentara_error_message(const zentara_error* error) noexcept {
    const auto* const values = errorIn(error);
    return values == nullptr ? zentara_text{} : borrowed(values->localizedDescription());
}

zentara_error* zentara_error_copy(const zentara_error* error) noexcept {
    return guardedOr<zentara_error*>(
        nullptr, [&] { return std::make_unique<zentara_error>(checked(error).error).release(); });
}

zentara_error* zentara_error_make(zentara_error_kind kind, zentara_text detail) noexcept {
    return guardedOr<zentara_error*>(nullptr, [&] {
        return std::make_unique<zentara_error>(errorOf(kind, string(detail))).release();
    });
}

void zentara_error_release(zentara_error* error) noexcept {
    release(error);
}

zentara_event* zentara_event_make(const zentara_event_draft* draft) noexcept {
    return makeEvent(draft, Ownership::copied);
}

zentara_event* zentara_event_make_take(const zentara_event_draft* draft) noexcept {
    return makeEvent(draft, Ownership::taken);
}

zentara_event* zentara_event_copy(const zentara_event* event) noexcept {
    return guardedOr<zentara_event*>(nullptr, [&] {
        auto shared = checked(event).event;
        if (shared.use_count() == 0) shared = EventAccess::make(EventAccess::values(*shared));
        return std::make_unique<zentara_event>(std::move(shared)).release();
    });
}

void zentara_event_release(zentara_event* event) noexcept {
    release(event);
}

zentara_status zentara_event_read(const zentara_event* event, zentara_event_draft* draft) noexcept {
    return guarded([&] {
        const auto& values = *checked(event).event;
        auto texts = readRecord(draft);
        texts.schema_id = borrowed(values.schemaId());
        texts.schema_version = borrowed(values.schemaVersion());
        texts.content_type = borrowed(values.contentType());
        texts.url = borrowed(values.url().string());
        texts.referer = borrowed(values.referer().string());
        texts.relation_id = borrowedIfThere(values.relationId());
        writeRecord(draft, texts);
    });
}

const zentara_value* zentara_event_properties(const zentara_event* event) noexcept {
    return guardedOr<const zentara_value*>(
        nullptr, [&] { return handleOf(*EventAccess::values(*checked(event).event).properties); });
}
