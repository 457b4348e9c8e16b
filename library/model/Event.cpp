#include "model/Event.h"

#include <utility>

namespace zentara {

Event::Event(std::string schemaId, std::string schemaVersion, AnyText url, std::string contentType,
             std::shared_ptr<const JSONValue> properties, AnyText referer,
             std::optional<std::string> relationId)
    : schemaId_(std::move(schemaId)),
      schemaVersion_(std::move(schemaVersion)),
      contentType_(std::move(contentType)),
      url_(std::move(url)),
      referer_(std::move(referer)),
      properties_(std::move(properties)),
      relationId_(std::move(relationId)) {}

}  // namespace zentara
