#include "schemas/SchemasProvider.h"

#include <optional>
#include <utility>

#include <zentara/ClientSettings.h>

namespace zentara {

std::shared_ptr<SchemasProvider> SchemasProvider::create(
    std::unique_ptr<SchemaStorageProtocol> storage, std::unique_ptr<TickerProtocol> ticker,
    std::unique_ptr<SchemaServiceProtocol> schemaService, OnReady onReady) {
    std::shared_ptr<SchemasProvider> provider(new SchemasProvider(
        std::move(storage), std::move(ticker), std::move(schemaService), std::move(onReady)));
    provider->loadCache();
    provider->startRefresh();
    return provider;
}

SchemasProvider::SchemasProvider(std::unique_ptr<SchemaStorageProtocol> storage,
                                 std::unique_ptr<TickerProtocol> ticker,
                                 std::unique_ptr<SchemaServiceProtocol> schemaService,
                                 OnReady onReady)
    : storage_(std::move(storage)),
      ticker_(std::move(ticker)),
      schemaService_(std::move(schemaService)),
      onReady_(std::move(onReady)),
      schemas_(std::make_shared<const JSONObject>()) {}

SchemasProvider::~SchemasProvider() {
    ticker_->cancel();
}

SchemaDocument SchemasProvider::schema(std::string_view schemaId,
                                       std::string_view schemaVersion) const {
    std::string key;
    key.reserve(schemaId.size() + 1 + schemaVersion.size());
    key += schemaId;
    key += '-';
    key += schemaVersion;
    Table table;
    {
        const MutexLock lock(mutex_);
        table = schemas_;
    }
    const auto* value = table->find(key);
    const auto* document = value == nullptr ? nullptr : value->ifObject();
    return document == nullptr ? nullptr : SchemaDocument(std::move(table), document);
}

void SchemasProvider::loadCache() {
    auto cached = storage_->load();
    // No cache yet, or one that cannot be read: the fetch will tell.
    if (cached.error || !cached.found) return;
    if (cached.records.empty()) {
        reportFailure(std::make_shared<SchemasServiceError>("the cache of schemas is empty"));
        return;
    }
    {
        const MutexLock lock(mutex_);
        schemas_ = std::make_shared<const JSONObject>(std::move(cached.records.front()));
    }
    report(nullptr);
}

void SchemasProvider::startRefresh() {
    const auto settings = ClientSettings::current();
    if (!settings) return;
    ticker_->cancel();
    ticker_->setHandler([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->fetch();
    });
    ticker_->start(TickerProtocol::Clock::now(), settings->schemasRefreshInterval);
}

void SchemasProvider::fetch() {
    if (!ClientSettings::current()) {
        reportFailure(std::make_shared<SchemasServiceError>("the library is not configured"));
        return;
    }
    schemaService_->fetch(
        [weak = weak_from_this()](std::optional<JSONObject> table, ErrorRef error) {
            if (const auto self = weak.lock()) {
                self->finishFetch(std::move(table), std::move(error));
            }
        });
}

void SchemasProvider::finishFetch(std::optional<JSONObject> table, ErrorRef error) {
    const bool succeeded = table.has_value();
    {
        const MutexLock lock(mutex_);
        // Fetches may overlap. One that ends after the first success has nothing to add, and its
        // failure must not make a ready library unready for good.
        if (isFetched_) return;
        if (succeeded) {
            schemas_ = std::make_shared<const JSONObject>(*std::move(table));
            isFetched_ = true;
        }
    }
    if (!succeeded) {
        reportFailure(std::move(error));
        return;
    }
    failures_.report(Status());
    report(nullptr);
    ticker_->cancel();
}

void SchemasProvider::reportFailure(ErrorRef cause) {
    if (!cause) cause = std::make_shared<SchemasServiceError>("there is no table of schemas");
    // First, so that the host finds the cause when it is called.
    failures_.report(cause);
    report(std::make_shared<SchemasInitializationError>());
}

void SchemasProvider::report(ZentaraClientErrorRef error) const {
    if (onReady_) onReady_(std::move(error));
}

}  // namespace zentara
