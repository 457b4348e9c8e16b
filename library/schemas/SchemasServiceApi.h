#pragma once

#include <functional>
#include <string>
#include <utility>

#include "json/JSONValue.h"
#include "network/RestClient.h"
#include "support/Status.h"

namespace zentara {

/// The response is not a usable table, or the library is not configured.
class SchemasServiceError final : public Error {
  public:
    explicit SchemasServiceError(std::string reason) : reason_(std::move(reason)) {}

    enum class Case { schemaNotFound };

    [[nodiscard]] Case errorCase() const noexcept { return Case::schemaNotFound; }
    [[nodiscard]] std::string description() const override { return reason_; }

  private:
    std::string reason_;
};

/// Fetches the table of schemas.
class SchemaServiceProtocol {
  public:
    using Completion = std::function<void(Result<JSONObject> table)>;

    virtual ~SchemaServiceProtocol() = default;

    /// Starts a fetch. Calls the completion once, on a worker or before this function returns.
    virtual void fetch(Completion completion) = 0;

    /// Whether requests are made at all. Fetches fail while they are not.
    [[nodiscard]] virtual bool isOpen() const = 0;
};

/// The schemas service of the configured environment.
class SchemasServiceApi final : public SchemaServiceProtocol {
  public:
    explicit SchemasServiceApi(RemoteService service) : service_(std::move(service)) {}

    void fetch(Completion completion) override;
    [[nodiscard]] bool isOpen() const override { return service_.client.isOpen(); }

  private:
    const RemoteService service_;
};

}  // namespace zentara
