#include <memory>
#include <utility>

#include <zentara/ZentaraClient.h>
#include "facade/objc/Handles.h"

using namespace zentara;

namespace {

ZentaraClientErrorRef makeError(ZentaraErrorKind kind, const std::string& detail) {
    switch (kind) {
        case zentaraNotInitializedError:
            return std::make_shared<ZentaraClientNotInitializedError>();
        case zentaraNotReadyError:
            return std::make_shared<ZentaraClientNotReady>(detail);
        case zentaraInvalidDataError:
            return std::make_shared<InvalidDataForSpecifiedSchemaError>(detail);
        case zentaraEventNotQueuedError:
            return std::make_shared<EventNotQueuedError>();
        case zentaraSchemasInitializationError:
            return std::make_shared<SchemasInitializationError>();
        case zentaraUnknownError:
        case zentaraOtherError:
            break;
    }
    return std::make_shared<UnknownError>();
}

template <typename Class>
bool is(const ZentaraClientError& error) {
    return dynamic_cast<const Class*>(&error) != nullptr;
}

ZentaraErrorKind kindOf(const ZentaraClientError& error) {
    if (is<ZentaraClientNotInitializedError>(error)) return zentaraNotInitializedError;
    if (is<ZentaraClientNotReady>(error)) return zentaraNotReadyError;
    if (is<InvalidDataForSpecifiedSchemaError>(error)) return zentaraInvalidDataError;
    if (is<UnknownError>(error)) return zentaraUnknownError;
    if (is<EventNotQueuedError>(error)) return zentaraEventNotQueuedError;
    if (is<SchemasInitializationError>(error)) return zentaraSchemasInitializationError;
    return zentaraOtherError;
}

}  // namespace

ZentaraError* zentaraMakeError(ZentaraErrorKind kind, ZentaraText detail) noexcept {
    return std::make_unique<ZentaraError>(ZentaraError{makeError(kind, string(detail))}).release();
}

void zentaraReleaseError(ZentaraError* error) noexcept {
    delete error;
}

ZentaraErrorView zentaraViewError(const ZentaraError* error) noexcept {
    const auto& values = *error->error;
    return {kindOf(values), bridged(values.domain()), values.code(),
            bridged(values.localizedDescription())};
}

ZentaraEvent* zentaraMakeEvent(const ZentaraEventTexts* texts,
                               ZentaraBuilder* properties) noexcept {
    ZentaraEvent event{ZentaraClient::createEvent(
        string(texts->schemaId), string(texts->schemaVersion), string(texts->contentType),
        string(texts->url), string(texts->referer), ZentaraBuilder::finish(properties),
        optionalString(texts->relationId))};
    return std::make_unique<ZentaraEvent>(std::move(event)).release();
}

ZentaraEvent* zentaraKeepEvent(const ZentaraEvent* event) noexcept {
    return std::make_unique<ZentaraEvent>(*event).release();
}

void zentaraReleaseEvent(ZentaraEvent* event) noexcept {
    delete event;
}

ZentaraEventTexts zentaraEventTexts(const ZentaraEvent* event) noexcept {
    if (event == nullptr) return {};
    const auto& values = *event->event;
    return {bridged(values.schemaId()),
            bridged(values.schemaVersion()),
            bridged(values.contentType()),
            bridged(values.url().string()),
            bridged(values.referer().string()),
            values.relationId() ? bridged(*values.relationId()) : ZentaraText{}};
}

const ZentaraObject* zentaraEventProperties(const ZentaraEvent* event) noexcept {
    return handleOf(event->event->properties());
}
