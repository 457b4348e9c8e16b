#pragma once

#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "dispatch/storage/Storage.h"

namespace zentara {

/// The cache of schemas, with the table that the application brings in its place while there is no
/// readable cache. Writes what the cache writes. A bundled text that is no table is reported, and
/// the cache's answer holds.
class BundledSchemas final : public SchemaStorageProtocol {
  public:
    /// `table` is borrowed; empty without one.
    BundledSchemas(std::unique_ptr<SchemaStorageProtocol> cache, std::string_view table)
        : cache_(std::move(cache)), table_(table) {}

    /// The table of this process, borrowed. Any thread.
    static void use(std::string_view table);
    [[nodiscard]] static std::string_view current();

    [[nodiscard]] Status save(std::span<const JSONObject> tables) override {
        return cache_->save(tables);
    }
    Result<std::vector<JSONObject>> load() override;
    [[nodiscard]] Status erase() override { return cache_->erase(); }

  private:
    const std::unique_ptr<SchemaStorageProtocol> cache_;
    const std::string_view table_;
};

}  // namespace zentara
