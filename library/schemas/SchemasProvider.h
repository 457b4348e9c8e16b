#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include <zentara/EventError.h>
#include <zentara/JSONValue.h>
#include "dispatch/storage/Storage.h"
#include "schemas/Schema.h"
#include "schemas/SchemasServiceApi.h"
#include "support/ClientSettingsAccess.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"
#include "support/threads/Ticker.h"

namespace zentara {

/// Why a look-up gave no schema.
enum class SchemasProviderError { schemaNotFound };

/// Finds the schema of an event.
class SchemaProviderProtocol {
  public:
    virtual ~SchemaProviderProtocol() = default;

    /// The schema of this id and version, which lives as long as the provider; null
    /// (`SchemasProviderError::schemaNotFound`) when there is none. May be called from any thread.
    [[nodiscard]] virtual const Schema* schema(std::string_view schemaId,
                                               std::string_view schemaVersion) const = 0;
};

/// Holds the table of schemas: first the cached table, then the fetched table. Fetches once per
/// tick until a fetch succeeds. Both tables are kept, so that a look-up takes no lock and an event
/// may still be validated by the table that is replaced. Safe for use from any thread.
class SchemasProvider final : public SchemaProviderProtocol,
                              public std::enable_shared_from_this<SchemasProvider> {
  public:
    /// Called with null when there is a table, with an error when a table could not be fetched. May
    /// be called many times; the last call decides. Called without a lock, on the creating thread
    /// for the cached table, on a worker for fetches.
    using OnReady = std::function<void(ZentaraClientErrorRef)>;

    /// Creates a provider, loads its cache and starts to fetch.
    [[nodiscard]] static std::shared_ptr<SchemasProvider> create(
        std::unique_ptr<SchemaStorageProtocol> storage, std::unique_ptr<TickerProtocol> ticker,
        std::unique_ptr<SchemaServiceProtocol> schemaService, SettingsSource settings,
        OnReady onReady);

    ~SchemasProvider() override;
    SchemasProvider(const SchemasProvider&) = delete;
    SchemasProvider& operator=(const SchemasProvider&) = delete;

    [[nodiscard]] const Schema* schema(std::string_view schemaId,
                                       std::string_view schemaVersion) const override;

    /// Ignores failures of the fetches that have begun. Also a fetch that fails because the HTTP
    /// session is closed is not reported.
    void interrupt();
    /// Makes the next attempt now, unless one has succeeded.
    void resume();
    /// Interrupts, and fetches no more.
    void stop();

  private:
    using Table = std::map<std::string, Schema, std::less<>>;  ///< by "{id}-{version}"

    SchemasProvider(std::unique_ptr<SchemaStorageProtocol> storage,
                    std::unique_ptr<TickerProtocol> ticker,
                    std::unique_ptr<SchemaServiceProtocol> schemaService, SettingsSource settings,
                    OnReady onReady);

    [[nodiscard]] static std::unique_ptr<const Table> tableOf(JSONObject documents);
    void loadCache();
    void startRefresh();
    void fetch();
    void finishFetch(std::uint64_t number, Result<JSONObject> table);
    [[nodiscard]] bool mayFetch() const { return !isStopped_ && schemaService_->isOpen(); }
    void reportFailure(const Status& cause);
    void report(ZentaraClientErrorRef error) const;

    const std::unique_ptr<SchemaStorageProtocol> storage_;  // used while creating only
    const std::unique_ptr<TickerProtocol> ticker_;          // synchronises itself
    const std::unique_ptr<SchemaServiceProtocol> schemaService_;
    const SettingsSource settings_;
    const OnReady onReady_;
    FailureReporter failures_{Component::schemas};  // synchronises itself

    std::unique_ptr<const Table> cached_;         // set while creating only
    std::atomic<const Table*> schemas_{nullptr};  // one of the two; null when empty
    std::atomic<bool> isStopped_ = false;
    std::atomic<std::uint64_t> lastFetch_ = 0;
    std::atomic<std::uint64_t> lastInterrupted_ = 0;  // of the fetches
    Mutex mutex_;
    std::unique_ptr<const Table> fetched_ ZENTARA_GUARDED_BY(mutex_);
};

}  // namespace zentara
