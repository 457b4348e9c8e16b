#pragma once

#include <zentara/JSONValue.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "collector/data/SchemaCatalogue.h"
#include "collector/data/Store.h"
#include "collector/http/HttpMessage.h"

namespace zentara::schemas {
struct EventPage;
}  // namespace zentara::schemas

namespace zentara::collector {

/// Tells about the schemas: what their check finds, and what the events look like. Any thread.
class SchemaPages {
  public:
    /// The references outlive the pages.
    SchemaPages(SchemaCatalogue& catalogue, const Store& store);
    ~SchemaPages();
    SchemaPages(const SchemaPages&) = delete;
    SchemaPages& operator=(const SchemaPages&) = delete;

    /// The numbers of the schemas, for the summary.
    [[nodiscard]] JSONObject counts() const;

    /// The findings of all schemas as JSON.
    [[nodiscard]] std::string findings() const;

    /// What was seen of each property in the latest events of the schema "{id}-{version}" as JSON,
    /// as docs/collector.md describes it. Nothing if there is neither the schema nor an event.
    [[nodiscard]] std::optional<std::string> properties(const std::string& schema);

    /// The messages of the latest bad events as JSON.
    [[nodiscard]] std::string messages() const;

    /// The catalogue of the events as they are now, with the numbers of what has arrived.
    /// Describing the events takes some milliseconds for each, when the schemas have changed.
    [[nodiscard]] HttpResponse page();

  private:
    using Events = std::shared_ptr<const std::vector<schemas::EventPage>>;

    [[nodiscard]] Events events();

    SchemaCatalogue& catalogue_;
    const Store& store_;

    std::mutex describing_;
    SchemaCatalogue::Snapshot described_;  // guarded by describing_
    Events events_;                        // guarded by describing_
};

}  // namespace zentara::collector
