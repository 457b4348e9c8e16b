// Answers of the network, a line each: the table of schemas, and the identity.

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Check.h"
#include "collector/http/HttpMessage.h"
#include "dispatch/storage/FileStorage.h"
#include "identity/ZentaraIDManager.h"
#include "json/JSONText.h"
#include "model/EventError.h"
#include "schemas/SchemasProvider.h"
#include "schemas/SchemasServiceApi.h"
#include "support/ManualTicker.h"
#include "support/RecordingSession.h"
#include "support/TestHost.h"

using namespace zentara;
using zentara::fuzz::check;

namespace {

test::RecordingSession session;

RemoteService service() {
    return {ClientSettings::current, [](auto) { return URL::parse("http://service.test").value(); },
            RestClient(session)};
}

std::optional<JSONObject> objectOf(const std::string& text) {
    auto parsed = parseJSON(text);
    if (parsed.error() || !parsed->isObject()) return std::nullopt;
    return std::move(parsed->object());
}

std::optional<std::string> stringIn(const std::optional<JSONObject>& object, std::string_view key) {
    const auto* const value = object ? object->find(key) : nullptr;
    if (value == nullptr || !value->isString()) return std::nullopt;
    return std::string(value->string());
}

bool isOneLine(std::string_view text) {
    return text.find_first_of(std::string_view("\r\n\0", 3)) == std::string_view::npos;
}

void checkTable(const std::string& body) {
    session.respond(200, body);
    const auto table = objectOf(body);
    const test::ManualTicker ticker;
    int reports = 0;
    bool isReady = false;
    const auto provider =
        SchemasProvider::create(std::make_unique<SchemasStorage>(systemFiles(), "no-cache"),
                                std::make_unique<test::ManualTicker>(ticker),
                                std::make_unique<SchemasServiceApi>(service()),
                                ClientSettings::current, [&](const ZentaraClientErrorRef& error) {
                                    ++reports;
                                    isReady = error == nullptr;
                                });
    ticker.fire();
    check(reports == 1 && isReady == table.has_value(), "only an object is a table");
    check(ticker.isRunning() != isReady, "a failed fetch is repeated");
    if (!table) {
        check(provider->schema("a", "1") == nullptr, "without a table there is no schema");
        return;
    }
    for (const auto& [key, value] : *table) {
        const std::string_view name = key;
        const auto dash = name.find('-');
        if (dash == std::string_view::npos) continue;
        const auto schema = provider->schema(name.substr(0, dash), name.substr(dash + 1));
        check((schema != nullptr) == value.isObject(), "each document is found by its name");
        const auto* const title = value.isObject() ? value.object().find("title") : nullptr;
        const bool hasTitle = title != nullptr && title->isString();
        check(schema == nullptr || schema->title() == (hasTitle ? title->ifString() : std::nullopt),
              "the schema is that of the table");
    }
}

using Cookies = std::vector<std::pair<std::string, std::string>>;

/// A value that a cookie can carry arrives unchanged; no part of another value arrives.
void checkCookies(std::string_view header, Cookies known) {
    check(isOneLine(header), "a header is one line");
    Cookies arrived;
    for (const auto& [name, value] : collector::parseCookies(std::string(header)))
        arrived.emplace_back(name, value);
    // Blanks at the end of a cookie are not part of it.
    for (auto& cookie : known)
        cookie.second.erase(cookie.second.find_last_not_of(" \t") + 1);
    for (const auto& cookie : arrived) {
        check(std::find(known.begin(), known.end(), cookie) != known.end(),
              "each cookie is one that was set");
    }
    for (const auto& cookie : known) {
        const auto isPlain = [](char c) {
            return c > 0x20 && c < 0x7F && c != ';';
        };
        if (!std::all_of(cookie.second.begin(), cookie.second.end(), isPlain)) continue;
        check(std::count(arrived.begin(), arrived.end(), cookie) == 1, "each cookie arrives");
    }
}

std::shared_ptr<ZentaraIDManager> identityManager() {
    return ZentaraIDManager::create(
        "Mobile App: test",
        std::make_unique<FileStorage<Token>>(systemFiles(), "anonymous-token-storage"),
        std::make_unique<test::ManualTicker>(), service(), nullptr, TickerProtocol::Clock::now);
}

std::string cookiesOf(const StringMap& headers) {
    const auto found = headers.find("Cookie");
    return found == headers.end() ? "" : found->second;
}

void checkIdentity(const std::string& body) {
    session.respond(200, body);
    const auto response = objectOf(body);
    const auto token = stringIn(response, ZentaraIDManager::anonymousTokenName);
    const auto publicToken = stringIn(response, ZentaraIDManager::anonymousPublicTokenName);
    const auto hsid = stringIn(response, ZentaraIDManager::hsidTokenName);
    const bool hasToken = token && publicToken;

    const auto manager = identityManager();
    std::optional<std::string> completed;
    manager->start([&completed](std::string value) { completed = std::move(value); });
    check(manager->isReady() == hasToken, "an identity needs both of its parts");
    check(completed == (response ? hsid : std::optional<std::string>("")),
          "the session token is passed on, empty after a failure");

    Cookies known = {{"type", "1"}};
    if (hasToken) known.emplace_back(ZentaraIDManager::anonymousTokenName, *token);
    if (hsid) known.emplace_back(ZentaraIDManager::hsidTokenName, *hsid);
    checkCookies(cookiesOf(manager->getHeaders(ExtraCookie{"type", "1"})), known);

    // The next run restores it and sends it to the collector.
    const auto next = identityManager();
    check(next->isReady() == hasToken, "the identity was kept");
    known = {};
    if (hasToken) known.emplace_back(ZentaraIDManager::anonymousTokenName, *token);
    checkCookies(cookiesOf(next->getHeaders(std::nullopt)), known);
    const auto before = session.requests().size();
    next->start(nullptr);
    check(session.requests().size() == before + 1, "one request renews it");
    std::string cookies;
    for (const auto& [name, value] : session.requests().back().headers) {
        check(isOneLine(name) && isOneLine(value), "a header is one line");
        if (name == "Cookie") cookies += value;
    }
    checkCookies(cookies, known);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const test::TestHost host;
    std::filesystem::remove_all(host.documents());
    const auto [table, identity] = fuzz::twoParts(fuzz::asText(data, size));
    checkTable(std::string(table));
    checkIdentity(std::string(identity));
    session = {};
    return 0;
}
