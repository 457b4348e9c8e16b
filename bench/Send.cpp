// A whole `send` of a ready client, compared with the minimum for its parts: writing the event's
// bytes, and validating it. Then with several threads, and as a typed event compared with the same
// event by hand.

#include <zentara/ZentaraClient.h>

#include <latch>
#include <thread>

#include "Allocations.h"
#include "BareFile.h"
#include "Comparison.h"
#include "SampleQueue.h"
#include "dispatch/EventBus.h"
#include "events.h"
#include "facade/ZentaraClientBuilder.h"
#include "schemas/Schema.h"
#include "support/Files.h"
#include "support/ManualTicker.h"
#include "support/TestHost.h"

namespace zentara::bench {
namespace {

/// Provides one schema under every name.
class OneSchema final : public SchemaProviderProtocol {
  public:
    explicit OneSchema(const JSONObject& schema) : schema_(schema) {}

    [[nodiscard]] const Schema* schema(std::string_view, std::string_view) const override {
        return &schema_;
    }

  private:
    const Schema schema_;
};

/// Never has an identity, so that nothing leaves the queue.
class NoIdentity final : public IDManager {
  public:
    [[nodiscard]] bool isReady() const override { return false; }
    [[nodiscard]] StringMap getHeaders(const std::optional<ExtraCookie>&) const override {
        return {};
    }
    void setLoggedUser(UserTokenType, std::string) override {}
    void removeLoggedUser() override {}
    [[nodiscard]] std::optional<LoggedUser> getLoggedUser() const override { return std::nullopt; }
    void loadAnonymousToken(const TokenCompletion&) const override {}
    void setAdvertisingId(std::string) override {}
    void removeAdvertisingId() override {}
    void fetchIdentity(std::function<void()>) override {}
    void interrupt() override {}
    [[nodiscard]] Status forget() override { return {}; }
    void resume() override {}
    void stop() override {}
    void start(HsidCompletion) override {}
};

/// A ready client with the given number of queued events.
class ReadyClient {
  public:
    ReadyClient(const test::TestHost& host, std::int64_t queued,
                const JSONObject& schema = twentyProperties().schema) {
        constexpr std::int64_t maxEvents = 8000;
        std::filesystem::create_directories(host.documents());
        const auto identity = std::make_shared<NoIdentity>();
        client_ = ZentaraClientBuilder::assemble(
            {.schemasProvider = std::make_shared<OneSchema>(schema),
             .eventBus = EventBus::create(
                 {queueOf(queued, "queue", host.file("queue").string(), maxEvents), identity,
                  "instance", std::make_unique<test::ManualTicker>(ticker_),
                  ZentaraClientBuilder::collector(), Ledger::shared(),
                  [] { return ZentaraClock().now(); }, ControlTime::shared()}),
             .idManager = identity,
             .unvalidatedEventsRepository = std::make_shared<EventsRepository>(
                 maxEvents, quietStorage("unvalidated"), Ledger::shared().heldBackQueue),
             .settings = ClientSettings::current,
             .ledger = Ledger::shared(),
             .controlTime = ControlTime::shared()});
        ZentaraClient::setIsReady(true);
    }
    ~ReadyClient() { ZentaraClient::setIsReady(false); }
    ReadyClient(const ReadyClient&) = delete;
    ReadyClient& operator=(const ReadyClient&) = delete;

    /// Whether the event was queued.
    bool send(JSONObject properties) {
        bool isQueued = false;
        client_->send("product-view", "2", "application/json", "https://www.alder.example/en/p/1",
                      "https://www.alder.example/", std::move(properties), std::nullopt,
                      [&isQueued](const EventRef&, const ZentaraClientErrorRef& error) {
                          isQueued = error == nullptr;
                      });
        return isQueued;
    }

    [[nodiscard]] ZentaraClient& client() { return *client_; }

  private:
    test::ManualTicker ticker_;
    std::shared_ptr<ZentaraClient> client_;
};

/// The text of the last event in the queue's file.
std::string lastSent(const test::TestHost& host) {
    const auto file = test::contentsOf(host.file("queue"));
    const auto start = file.rfind(R"({"id":"product-view","version":"2")");
    return file.substr(start, file.size() - start - 1);
}

void send(benchmark::State& state) {
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        const auto& sample = twentyProperties();
        const auto& properties = sample.valid.object();
        const Schema schema(sample.schema);
        Times ours;
        Times keeping;
        Times validating;
        std::int64_t allocated = 0;
        for (int repetition = 0; repetition < 5; ++repetition) {
            ReadyClient client(host, 7900);
            BareFile bare(host);
            if (!client.send(properties)) state.SkipWithError("not queued");
            const auto text = lastSent(host);
            for (int round = 0; round < 90; ++round) {
                auto copy = properties;
                const auto before = allocations();
                ours.measure([&] {
                    if (!client.send(std::move(copy))) state.SkipWithError("not queued");
                });
                allocated = allocations() - before;
                keeping.measure([&] { bare.append(text); });
                validating.measure([&] {
                    if (!schema.validate(sample.valid).valid()) state.SkipWithError("not valid");
                });
            }
        }
        report(state, ours.mean(), keeping.mean() + validating.mean(), 1.5);
        state.counters["allocations"] = static_cast<double>(allocated);
    }
}

/// Nanoseconds per event when this many threads send at once.
double together(const test::TestHost& host, int threads) {
    constexpr int eventsPerThread = 1000;
    ReadyClient client(host, 0);
    std::latch start(threads + 1);
    std::vector<std::thread> senders;
    for (int thread = 0; thread < threads; ++thread) {
        senders.emplace_back([&] {
            start.arrive_and_wait();
            for (int i = 0; i < eventsPerThread; ++i)
                client.send(twentyProperties().valid.object());
        });
    }
    Times total;
    total.measure([&] {
        start.arrive_and_wait();
        for (auto& sender : senders)
            sender.join();
    });
    return total.mean() / (threads * eventsPerThread);
}

void threads(benchmark::State& state) {
    const auto count = static_cast<int>(state.range(0));
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        std::vector<double> many;
        std::vector<double> one;
        for (int round = 0; round < 7; ++round) {
            many.push_back(together(host, count));
            one.push_back(together(host, 1));
        }
        std::sort(many.begin(), many.end());
        std::sort(one.begin(), one.end());
        report(state, many[3], one[3], 0);
    }
}

/// What differs from order to order.
struct Purchase {
    std::string orderId = "2024-0A1B2C3D";
    std::string total = "129.80";
    std::string city = "Winterthur";
    std::int64_t quantity = 2;
};

orders::Order typedOrder(const Purchase& purchase) {
    using orders::Order;
    orders::Order order{
        .orderId = purchase.orderId,
        .lines = {{.productId = "CL-47819",
                   .quantity = purchase.quantity,
                   .price = {.amount = "64.90", .currency = Order::Currency::chf}},
                  {.productId = "SH-14304",
                   .quantity = 1,
                   .price = {.amount = "12.50", .currency = Order::Currency::chf}}},
        .total = {.amount = purchase.total, .currency = Order::Currency::chf},
        .payment = Order::Payment::bankTransfer,
        .delivery = {.method = Order::Method::express, .country = "CH", .postcode = "8400"}};
    order.coupon = nullptr;
    order.giftWrap = false;
    order.delivery.city = purchase.city;
    return order;
}

EventDraft orderByHand(const Purchase& purchase) {
    return {.schemaId = "order",
            .schemaVersion = "1",
            .properties = {{"orderId", purchase.orderId},
                           {"lines",
                            {{{"productId", "CL-47819"},
                              {"quantity", purchase.quantity},
                              {"price", {{"amount", "64.90"}, {"currency", "CHF"}}}},
                             {{"productId", "SH-14304"},
                              {"quantity", 1},
                              {"price", {{"amount", "12.50"}, {"currency", "CHF"}}}}}},
                           {"total", {{"amount", purchase.total}, {"currency", "CHF"}}},
                           {"payment", "bank-transfer"},
                           {"coupon", nullptr},
                           {"giftWrap", false},
                           {"delivery",
                            {{"method", "express"},
                             {"country", "CH"},
                             {"postcode", "8400"},
                             {"city", purchase.city}}}}};
}

void typed(benchmark::State& state) {
    const auto schema =
        JSONValue::parse(test::contentsOf(ZENTARA_EXAMPLES "/schemas/order-1.json"));
    const Purchase purchase;
    if (EventDraft(typedOrder(purchase)).properties != orderByHand(purchase).properties) {
        return state.SkipWithError("the two orders differ");
    }
    for ([[maybe_unused]] auto _ : state) {
        const test::TestHost host;
        Times ours;
        Times byHand;
        const auto handler = [&state](const EventRef&, const ZentaraClientErrorRef& error) {
            if (error) state.SkipWithError("not queued");
        };
        for (int repetition = 0; repetition < 10; ++repetition) {
            ReadyClient ready(host, 7000, schema.object());
            auto& client = ready.client();
            for (int round = 0; round < 400; ++round) {
                ours.measure([&] { client.send(typedOrder(purchase), handler); });
                byHand.measure([&] { client.send(orderByHand(purchase), handler); });
            }
        }
        report(state, ours, byHand, 1.1);
    }
}

void encoded(benchmark::State& state) {
    const Purchase purchase;
    for ([[maybe_unused]] auto _ : state) {
        Times ours;
        Times byHand;
        for (int round = 0; round < 500; ++round) {
            ours.measure(
                [&] { benchmark::DoNotOptimize(EventDraft(typedOrder(purchase)).properties); }, 20);
            byHand.measure([&] { benchmark::DoNotOptimize(orderByHand(purchase).properties); }, 20);
        }
        report(state, ours, byHand, 0);
    }
}

BENCHMARK(send)->Name("send, 20 properties, 7900 queued")->Iterations(1);
BENCHMARK(typed)->Name("send, typed event against by hand")->Iterations(1);
BENCHMARK(encoded)->Name("build a typed event against by hand")->Iterations(1);
BENCHMARK(threads)->Name("send, threads against one")->Arg(2)->Arg(4)->Iterations(1);

}  // namespace
}  // namespace zentara::bench
