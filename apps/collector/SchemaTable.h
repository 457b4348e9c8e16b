#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "collector/data/SchemaCatalogue.h"
#include "collector/http/HttpMessage.h"

namespace zentara::collector {

/// Answers requests for the table of schemas so that caches and clients need not fetch it again
/// while it is the same: with a strong ETag, which all collectors with the same schemas share, and
/// compressed for those that accept gzip. Any thread.
class SchemaTable {
  public:
    /// The request is a GET or a HEAD.
    [[nodiscard]] HttpResponse answer(const HttpRequest& request,
                                      const SchemaCatalogue::Snapshot& snapshot);

  private:
    /// What is made once of each table.
    struct Encoded {
        SchemaCatalogue::Snapshot snapshot;
        std::string tag;  ///< without quotation marks
        std::string gzip;
    };

    [[nodiscard]] std::shared_ptr<const Encoded> encoded(const SchemaCatalogue::Snapshot& snapshot);

    std::mutex mutex_;                        // held while a table is compressed
    std::shared_ptr<const Encoded> encoded_;  // guarded by mutex_
};

/// Whether an Accept-Encoding header admits gzip.
[[nodiscard]] bool acceptsGzip(std::string_view header);

/// Whether an If-None-Match header names `tag`, which has quotation marks.
[[nodiscard]] bool namesTag(std::string_view header, std::string_view tag);

}  // namespace zentara::collector
