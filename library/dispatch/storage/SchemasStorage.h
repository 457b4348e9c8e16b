#pragma once

#include <string_view>

#include "dispatch/storage/FileStorage.h"

namespace zentara {

/// Keeps the cached schemas tables.
class SchemasStorage final : public SchemaStorageProtocol {
  public:
    explicit SchemasStorage(std::string_view fileName) : fileStorage_(fileName) {}

    [[nodiscard]] ErrorRef save(std::span<const JSONObject> tables) override {
        return fileStorage_.save(tables);
    }
    Loaded<JSONObject> load() override { return fileStorage_.load(); }

  private:
    FileStorage<JSONObject> fileStorage_;
};

}  // namespace zentara
