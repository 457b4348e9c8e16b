#include "facade/objc/EventBridge.h"

#include <memory>
#include <utility>

#include <zentara/ZentaraClient.h>
#include "facade/objc/BridgeText.h"
#include "facade/objc/BuilderHandle.h"
#include "facade/objc/EventHandle.h"
#include "facade/objc/ValueHandle.h"

using namespace zentara;

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
    return bridged(event->event->properties());
}
