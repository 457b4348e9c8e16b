#include "schemas/SchemasProvider.h"

#include <array>
#include <cstddef>
#include <memory_resource>
#include <utility>

#include "schemas/SchemaNodes.h"

namespace zentara {

std::shared_ptr<SchemasProvider> SchemasProvider::create(
    std::unique_ptr<SchemaStorageProtocol> storage, std::unique_ptr<TickerProtocol> ticker,
    std::unique_ptr<SchemaServiceProtocol> schemaService, SettingsSource settings,
    OnReady onReady) {
    std::shared_ptr<SchemasProvider> provider(
        new SchemasProvider(std::move(storage), std::move(ticker), std::move(schemaService),
                            std::move(settings), std::move(onReady)));
    provider->loadCache();
    provider->startRefresh();
    return provider;
}

SchemasProvider::SchemasProvider(std::unique_ptr<SchemaStorageProtocol> storage,
                                 std::unique_ptr<TickerProtocol> ticker,
                                 std::unique_ptr<SchemaServiceProtocol> schemaService,
                                 SettingsSource settings, OnReady onReady)
    : storage_(std::move(storage)),
      ticker_(std::move(ticker)),
      schemaService_(std::move(schemaService)),
      settings_(std::move(settings)),
      onReady_(std::move(onReady)) {}

SchemasProvider::~SchemasProvider() {
    ticker_->cancel();
}

const Schema* SchemasProvider::schema(std::string_view schemaId,
                                      std::string_view schemaVersion) const {
    const auto* const table = schemas_.load(std::memory_order_acquire);
    if (table == nullptr) return nullptr;
    // On the stack unless it is very long.
    std::array<std::byte, 256> scratch;
    std::pmr::monotonic_buffer_resource memory(scratch.data(), scratch.size());
    std::pmr::string key(&memory);
    key.reserve(schemaId.size() + 1 + schemaVersion.size());
    key.append(schemaId).append("-").append(schemaVersion);
    const auto found = table->find(std::string_view(key));
    return found == table->end() ? nullptr : &found->second;
}

std::unique_ptr<const SchemasProvider::Table> SchemasProvider::tableOf(JSONObject documents) {
    auto table = std::make_unique<Table>();
    const auto expressions = std::make_shared<SharedExpressions>();
    for (auto& [key, value] : documents) {
        if (auto* const document = value.ifObject())
            table->try_emplace(std::string(key), std::move(*document), standardFormats(),
                               expressions);
    }
    return table;
}

void SchemasProvider::loadCache() {
    auto cached = storage_->load();
    // No readable cache: the fetch decides.
    if (!cached.ok()) return;
    if (cached->empty()) {
        reportFailure(std::make_shared<SchemasServiceError>("the cache of schemas is empty"));
        return;
    }
    cached_ = tableOf(std::move(cached->front()));
    schemas_.store(cached_.get(), std::memory_order_release);
    report(nullptr);
}

void SchemasProvider::startRefresh() {
    const auto settings = settings_();
    if (!settings) return;
    ticker_->cancel();
    ticker_->setHandler([weak = weak_from_this()] {
        if (const auto self = weak.lock()) self->fetch();
    });
    ticker_->start(TickerProtocol::Clock::now(), settings->schemasRefreshInterval);
}

void SchemasProvider::interrupt() {
    lastInterrupted_ = lastFetch_.load();
}

void SchemasProvider::resume() {
    if (!isStopped_ && ticker_->isRunning()) startRefresh();
}

void SchemasProvider::stop() {
    isStopped_ = true;
    ticker_->cancel();
    interrupt();
}

void SchemasProvider::fetch() {
    // Before the look at the session: a fetch that begins while it is being closed is interrupted.
    const auto number = ++lastFetch_;
    if (!mayFetch()) return;
    if (!settings_()) {
        reportFailure(std::make_shared<SchemasServiceError>("the library is not configured"));
        return;
    }
    schemaService_->fetch([weak = weak_from_this(), number](Result<JSONObject> table) {
        if (const auto self = weak.lock()) self->finishFetch(number, std::move(table));
    });
}

void SchemasProvider::finishFetch(std::uint64_t number, Result<JSONObject> table) {
    bool isLate = false;
    {
        const MutexLock lock(mutex_);
        // Fetches may overlap. A fetch that ends after the first success is ignored: its failure
        // must not make a ready library unready.
        isLate = fetched_ != nullptr;
        if (!isLate && table.ok()) {
            fetched_ = tableOf(*std::move(table));
            schemas_.store(fetched_.get(), std::memory_order_release);
        }
    }
    // `resume` may have started the timer again.
    if (isLate) return ticker_->cancel();
    if (!table.ok()) {
        const bool isInterrupted = number <= lastInterrupted_ || !mayFetch();
        if (!isInterrupted) reportFailure(table.status());
        return;
    }
    failures_.report(Status());
    report(nullptr);
    ticker_->cancel();
}

void SchemasProvider::reportFailure(const Status& cause) {
    // First, so that the cause is known when the host is called.
    failures_.report(cause);
    report(std::make_shared<SchemasInitializationError>());
}

void SchemasProvider::report(ZentaraClientErrorRef error) const {
    if (onReady_) onReady_(std::move(error));
}

}  // namespace zentara
