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
#include "schemas/SchemasProvider.h"
#include "schemas/SchemasServiceApi.h"
#include "support/ManualTicker.h"
#include "support/RecordingSession.h"
#include "support/TestHost.h"

using namespace zentara;
using zentara::fuzz::check;
using Manager = ZentaraIDManager;

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
    for (const auto& [key, value] : table.value_or(JSONObject())) {
        const std::string_view name = key;
        const auto dash = name.find('-');
        if (dash == std::string_view::npos) continue;
        const auto schema = provider->schema(name.substr(0, dash), name.substr(dash + 1));
        check((schema != nullptr) == value.isObject(), "each schema is found by its name");
    }
}

using Cookies = std::vector<std::pair<std::string, std::string>>;

/// A plain value arrives unchanged in its cookie; no part of a value becomes another cookie.
void checkCookies(const StringMap& headers, Cookies known) {
    const auto found = headers.find("Cookie");
    const std::string header = found == headers.end() ? "" : found->second;
    check(header.find_first_of(std::string_view("\r\n\0", 3)) == header.npos,
          "a header is one line");
    Cookies arrived;
    for (const auto& [name, value] : collector::parseCookies(header))
        arrived.emplace_back(name, value);
    // Blanks at the end of a cookie are not part of it.
    for (auto& cookie : known)
        cookie.second.erase(cookie.second.find_last_not_of(" \t") + 1);
    for (const auto& cookie : arrived)
        check(std::ranges::count(known, cookie) > 0, "each cookie is one that was set");
    for (const auto& cookie : known) {
        const auto isPlain = [](char c) {
            return c > 0x20 && c < 0x7F && c != ';';
        };
        check(!std::ranges::all_of(cookie.second, isPlain) ||
                  std::ranges::count(arrived, cookie) == 1,
              "each plain cookie arrives");
    }
}

void checkIdentity(const std::string& body) {
    session.respond(200, body);
    const auto response = objectOf(body);
    const auto textAt = [&response](std::string_view key) -> std::optional<std::string> {
        const auto* const value = response ? response->find(key) : nullptr;
        if (value == nullptr || !value->isString()) return std::nullopt;
        return std::string(value->string());
    };
    const auto token = textAt(Manager::anonymousTokenName);
    const auto hsid = textAt(Manager::hsidTokenName);
    const bool hasToken = token && textAt(Manager::anonymousPublicTokenName);
    const auto create = [] {
        return Manager::create({"Mobile App: test",
                                std::make_unique<FileStorage<Token>>(systemFiles(), "token"),
                                std::make_unique<test::ManualTicker>(), service(), nullptr,
                                TickerProtocol::Clock::now});
    };
    const auto manager = create();
    std::optional<std::string> completed;
    manager->start([&completed](std::string value) { completed = std::move(value); });
    check(completed == (response ? hsid : std::optional<std::string>("")),
          "the session token is reported, empty after a failure");
    Cookies known;
    if (hasToken) known.emplace_back(Manager::anonymousTokenName, *token);
    // The next run restores the token and sends it to the collector.
    const auto next = create();
    checkCookies(next->getHeaders(std::nullopt), known);
    check(manager->isReady() == hasToken && next->isReady() == hasToken,
          "an identity needs both of its parts");
    next->start(nullptr);
    const auto& sent = session.requests().back().headers;
    checkCookies({sent.begin(), sent.end()}, known);
    if (hsid) known.emplace_back(Manager::hsidTokenName, *hsid);
    known.emplace_back("type", "1");
    checkCookies(manager->getHeaders(ExtraCookie{"type", "1"}), known);
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
