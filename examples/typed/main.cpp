// Visits to a shop, as events whose types are generated from the schemas of this folder: a wrong
// event does not compile.
//
//     zentara-collector --port 8080 --schemas examples/schemas &
//     typed-shop http://127.0.0.1:8080 /tmp/documents results.jsonl 300
//
// Writes each event with what became of it, as lines of JSON. The same number gives the same
// events.

#include <zentara/HostApplication.h>
#include <zentara/ZentaraClient.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <future>
#include <iostream>
#include <memory>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "events.h"

namespace {

using namespace zentara;
using namespace shop::events;

struct Article {
    const char* id;
    const char* name;
    std::vector<const char*> categories;
    int cents;
    ProductView::Currency currency;
};

const Article articles[] = {
    {"CL-47819", "Merino sweater", {"clothing", "women"}, 6450, ProductView::Currency::eur},
    {"CL-20033", "Rain jacket – light", {"clothing"}, 12900, ProductView::Currency::chf},
    {"SH-14304", "Trail running shoes", {"outdoor", "shoes"}, 8990, ProductView::Currency::usd},
    {"HI-48992", "Day pack 22 l", {"outdoor", "hiking"}, 8400, ProductView::Currency::gbp},
    {"HI-00017", "Trekking poles", {"outdoor", "hiking", "sale"}, 3995, ProductView::Currency::eur},
};

/// The enumerations of currencies are of the same values, in each event.
template <typename To, typename From>
To as(From choice) {
    return static_cast<To>(choice);
}

std::string price(int cents) {
    const auto rest = std::to_string(cents % 100);
    return std::to_string(cents / 100) + '.' + (rest.size() == 1 ? "0" : "") + rest;
}

class Shop {
  public:
    Shop(std::shared_ptr<ZentaraClient> client, const std::string& results, int count)
        : client_(std::move(client)), results_(results), left_(count) {
        if (!results_) throw std::runtime_error(results + " cannot be written");
    }

    /// One visit after the other, until the events are sent. The number of those that were refused.
    int open() {
        while (left_ > 0)
            visit();
        if (!results_.flush()) throw std::runtime_error("the results cannot be written");
        return refused_;
    }

  private:
    void visit() {
        const std::string home = "https://www.alder.example/en/";
        relation_ = "visit-" + std::to_string(++visits_);
        page_.clear();
        send(start(), "alder://start");
        send(view(PageView::Section::home, "Alder – outdoors"), home);
        const auto& article = articles[random(std::size(articles))];
        if (random(2) == 0) send(search(), home + "s?q=jacket");
        const auto page = home + "p/" + article.id;
        send(look(article), page);
        if (random(3) == 0) watch(page);
        if (random(3) > 0) {
            const auto quantity = static_cast<int>(1 + random(3));
            send(add(article, quantity), page);
            send(view(PageView::Section::basket, "Basket"), home + "basket");
            if (random(2) == 0) send(buy(article, quantity), home + "checkout");
        }
        if (random(3) == 0) send(rate(article), page + "/reviews");
        client_->newContextId();
    }

    AppStart start() {
        AppStart event{.coldStart = random(2) == 0,
                       .startupMs = 200 + random(3000),
                       .appVersion = "7.0.12",
                       .openedBy = AppStart::OpenedBy::icon};
        if (random(3) == 0) {
            event.openedBy = AppStart::OpenedBy::link;
            event.link = "https://www.alder.example/en/?from=mail";
        }
        event.network = {.kind = AppStart::Kind::wifi};
        if (random(2) == 0) event.network->address = "192.0.2." + std::to_string(random(255));
        return event;
    }

    PageView view(PageView::Section section, const char* title) {
        PageView event{.title = title, .section = section, .language = "en"};
        event.loadMs = random(4000);
        if (random(2) == 0) event.scrollDepth = static_cast<double>(random(5)) / 4;
        if (random(2) == 0) event.experiments = {"new-search:variant-b", "free-shipping:control"};
        return event;
    }

    Search search() {
        Search event{.term = "waterproof jacket", .results = random(200)};
        event.page = 1;
        event.durationMs = 12.5 + static_cast<double>(random(100));
        event.sort = Search::Sort::priceUp;
        if (random(2) == 0) event.filters = {{.name = "size", .values = {"M", "L"}}};
        return event;
    }

    ProductView look(const Article& article) {
        ProductView event{
            .productId = article.id,
            .name = article.name,
            .categories = {article.categories.front()},
            .price = {.amount = price(article.cents), .currency = article.currency},
            .inStock = random(4) > 0,
        };
        for (const auto* category : std::span(article.categories).subspan(1))
            event.categories.push_back(category);
        if (random(3) == 0) {
            event.formerPrice = ProductView::Money{.amount = price(article.cents + 1000),
                                                   .currency = article.currency};
        }
        if (random(2) == 0) event.rating = 4.5;
        return event;
    }

    void watch(const std::string& page) {
        MediaPlay event{.mediaId = "vid204417",
                        .kind = MediaPlay::Kind::video,
                        .action = MediaPlay::Action::start,
                        .position = 0,
                        .duration = 314.5};
        event.quality = MediaPlay::Quality::value1080;
        event.subtitles = nullptr;
        send(event, page);
        event.action = MediaPlay::Action::end;
        event.position = 314.5;
        event.subtitles = "en";
        event.buffering = {{12.5, 0.75}, {100, 2}};
        send(event, page);
    }

    AddToCart add(const Article& article, int quantity) {
        AddToCart event{.productId = article.id,
                        .quantity = quantity,
                        .unitPrice = article.cents / 100.0,
                        .currency = as<AddToCart::Currency>(article.currency)};
        event.cartTotal = price(article.cents * quantity);
        event.variant = {.size = AddToCart::Size::xs};
        if (random(2) == 0) event.variant->color = "blue";
        event.origin = AddToCart::Origin::wishList;
        return event;
    }

    Order buy(const Article& article, int quantity) {
        const auto currency = as<Order::Currency>(article.currency);
        char number[16];
        std::snprintf(number, sizeof number, "2024-%08X", static_cast<unsigned>(random(1U << 31U)));
        Order event{
            .orderId = number,
            .lines = {{.productId = article.id,
                       .quantity = quantity,
                       .price = {.amount = price(article.cents), .currency = currency}}},
            .total = {.amount = price(article.cents * quantity), .currency = currency},
            .payment = Order::Payment::bankTransfer,
            .delivery = {.method = Order::Method::express, .country = "CH", .postcode = "8400"},
        };
        event.coupon = nullptr;
        event.giftWrap = random(2) == 0;
        if (random(2) == 0) event.delivery.city = "Winterthur";
        return event;
    }

    Review rate(const Article& article) {
        Review event{.productId = article.id, .stars = 1 + random(5)};
        event.headline = "Würde ich wieder kaufen";
        event.recommends = true;
        return event;
    }

    /// What the types do not say, such as the address of the page, is set in the draft.
    void send(EventDraft event, const std::string& url) {
        if (left_ == 0) return;
        --left_;
        event.url = url;
        event.referer = std::exchange(page_, url);
        event.relationId = relation_;
        const std::string& id = event.schemaId;
        const std::string& version = event.schemaVersion;
        JSONObject line{{"line", ++line_}, {"schema", id + '-' + version}};
        line["event"] = JSONObject{{"schemaId", id},
                                   {"schemaVersion", version},
                                   {"url", event.url.string()},
                                   {"referer", event.referer.string()},
                                   {"relationId", relation_},
                                   {"properties", event.properties}};
        client_->send(std::move(event), [&](const EventRef&, const ZentaraClientErrorRef& error) {
            line["outcome"] = error ? "refused" : "accepted";
            line["message"] = error ? error->what() : "";
            if (error) ++refused_;
        });
        results_ << JSONValue(line).text() << '\n';
    }

    std::size_t random(std::size_t choices) { return random_() % choices; }

    const std::shared_ptr<ZentaraClient> client_;
    std::ofstream results_;
    std::mt19937 random_{2024};
    int left_;
    int line_ = 0;
    int visits_ = 0;
    int refused_ = 0;
    std::string page_;
    std::string relation_;
};

std::shared_ptr<ZentaraClient> readyClient(const char* collector, const char* documents) {
    HostApplication::setBundleIdentifier("com.example.shop");
    HostApplication::setDocumentsDirectory(documents);
    auto endpoints = ZentaraEndpoints::current();
    endpoints.qaCollector = endpoints.qaSchemas = collector;
    ZentaraEndpoints::use(endpoints);
    ZentaraClient::useSettings("demo", ZentaraEnvironment::qa);
    const auto ready = std::make_shared<std::promise<void>>();
    auto schemas = ready->get_future();
    auto client =
        ZentaraClient::get([ready, isFirst = true](const ZentaraClientErrorRef& error) mutable {
            if (!error && std::exchange(isFirst, false)) ready->set_value();
        });
    if (schemas.wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
        throw std::runtime_error("no schemas from " + std::string(collector));
    }
    return client;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) {
        std::cerr << "usage: typed-shop COLLECTOR_URL DOCUMENTS_DIR RESULTS_FILE COUNT\n";
        return 2;
    }
    try {
        const auto client = readyClient(argv[1], argv[2]);
        const int refused = Shop(client, argv[3], std::stoi(argv[4])).open();
        const auto result = ZentaraClient::shutdown(std::chrono::seconds(30));
        std::cout << argv[4] << " events, " << refused << " refused\n";
        if (result.outcome != FlushResult::Outcome::empty) {
            std::cerr << "typed-shop: not everything is delivered: " << result.lastFailure << '\n';
            return 1;
        }
        return refused == 0 ? 0 : 1;
    } catch (const std::exception& error) {
        std::cerr << "typed-shop: " << error.what() << '\n';
        return 2;
    }
}
