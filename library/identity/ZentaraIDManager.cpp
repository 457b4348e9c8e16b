#include "identity/ZentaraIDManager.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <utility>

#include <zentara/ZentaraEndpoints.h>
#include "network/CookieText.h"
#include "network/RequestFailure.h"
#include "network/RestClient.h"
#include "network/URLRequestBuilder.h"

namespace zentara {

namespace {

struct NotConfigured final : Error {
    [[nodiscard]] std::string description() const override {
        return "the library is not configured";
    }
};

struct NoToken final : Error {
    [[nodiscard]] std::string description() const override {
        return "the answer holds no anonymous token";
    }
};

std::optional<std::string> stringMember(const JSONObject& object, std::string_view key) {
    return RecordReader(object).optionalString(key);
}

std::optional<Token> tokenIn(const JSONObject& response) {
    auto value = stringMember(response, ZentaraIDManager::anonymousTokenName);
    auto publicValue = stringMember(response, ZentaraIDManager::anonymousPublicTokenName);
    if (!value || !publicValue) return std::nullopt;
    return Token{std::string(ZentaraIDManager::anonymousTokenName), *std::move(value),
                 *std::move(publicValue)};
}

}  // namespace

std::shared_ptr<ZentaraIDManager> ZentaraIDManager::create(
    std::string userAgent, std::unique_ptr<Storage<Token>> anonymousStorage,
    std::unique_ptr<TickerProtocol> ticker, std::function<void()> onReady, TimeSource now) {
    std::shared_ptr<ZentaraIDManager> manager(
        new ZentaraIDManager(std::move(userAgent), std::move(anonymousStorage), std::move(ticker),
                             std::move(onReady), std::move(now)));
    manager->beginTicking();
    return manager;
}

ZentaraIDManager::ZentaraIDManager(std::string userAgent,
                                   std::unique_ptr<Storage<Token>> anonymousStorage,
                                   std::unique_ptr<TickerProtocol> ticker,
                                   std::function<void()> onReady, TimeSource now)
    : userAgent_(std::move(userAgent)),
      ticker_(std::move(ticker)),
      onReady_(std::move(onReady)),
      now_(std::move(now)),
      anonymousStorage_(std::move(anonymousStorage)) {
    loadAnonymousToken([this](const std::optional<Token>& stored) {
        if (!stored) return;
        {
            const MutexLock lock(mutex_);
            anonymousToken_ = stored;
        }
        persist(*stored);
    });
}

ZentaraIDManager::~ZentaraIDManager() {
    ticker_->cancel();
}

void ZentaraIDManager::beginTicking() {
    ticker_->setHandler([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->fetch([weak](const std::optional<std::string>&, const ErrorRef& error) {
            if (error) return;
            if (const auto succeeded = weak.lock()) succeeded->ticker_->cancel();
        });
    });
    if (const auto settings = ClientSettings::current()) {
        ticker_->start(TickerProtocol::Clock::now(), settings->identityRefreshInterval);
    }
}

bool ZentaraIDManager::isReady() const {
    const MutexLock lock(mutex_);
    return anonymousToken_ || loggedUserToken_;
}

StringMap ZentaraIDManager::getHeaders(const std::optional<ExtraCookie>& extraCookie) const {
    std::string cookies;
    {
        const MutexLock lock(mutex_);
        if (anonymousToken_) appendCookie(cookies, anonymousTokenName, anonymousToken_->value);
        if (extraCookie) appendCookie(cookies, extraCookie->name, extraCookie->value);
        if (hsidToken_) appendCookie(cookies, hsidTokenName, *hsidToken_);
        if (advertisingToken_) appendCookie(cookies, advertisingTokenName, *advertisingToken_);
    }
    StringMap headers{{"User-Agent", userAgent_}};
    if (!cookies.empty()) headers.emplace("Cookie", std::move(cookies));
    return headers;
}

void ZentaraIDManager::setLoggedUser(UserTokenType tokenType, std::string token) {
    const MutexLock lock(mutex_);
    loggedUserToken_ = LoggedUser{tokenType, std::move(token)};
}

void ZentaraIDManager::removeLoggedUser() {
    const MutexLock lock(mutex_);
    loggedUserToken_.reset();
}

std::optional<LoggedUser> ZentaraIDManager::getLoggedUser() const {
    const MutexLock lock(mutex_);
    return loggedUserToken_;
}

void ZentaraIDManager::loadAnonymousToken(const TokenCompletion& completion) const {
    std::optional<Token> token;
    {
        const MutexLock lock(storageMutex_);
        auto stored = anonymousStorage_->load();
        tokenFile_.report(stored.error);
        if (!stored.records.empty()) token = std::move(stored.records.front());
    }
    if (completion) completion(std::move(token));
}

void ZentaraIDManager::setAdvertisingId(std::string advertisingId) {
    const MutexLock lock(mutex_);
    advertisingToken_ = std::move(advertisingId);
}

void ZentaraIDManager::removeAdvertisingId() {
    const MutexLock lock(mutex_);
    advertisingToken_.reset();
}

void ZentaraIDManager::start(HsidCompletion completion) {
    fetch([completion = std::move(completion)](const std::optional<std::string>& hsid,
                                               const ErrorRef& error) {
        if (!completion) return;
        if (error) {
            completion("");
        } else if (hsid) {
            completion(*hsid);
        }
    });
}

void ZentaraIDManager::fetch(FetchCompletion completion) {
    const auto settings = ClientSettings::current();
    if (!settings) {
        completion(std::nullopt, std::make_shared<NotConfigured>());
        return;
    }
    // A tick comes one interval after the last, or a little earlier, and is to begin a fetch.
    const std::chrono::duration<double> sharedFor(settings->identityRefreshInterval * 0.9);
    const auto now = now_();
    URLRequestBuilder builder(ZentaraEndpoints::collector(settings->environment)
                                  .appendingPathComponent(settings->idPath));
    std::uint64_t number = 0;
    {
        const MutexLock lock(mutex_);
        if (!underWay_.empty() && now - underWay_.back().began < sharedFor) {
            underWay_.back().callers.push_back(std::move(completion));
            return;
        }
        number = ++lastFetch_;
        underWay_.push_back({number, now, {}});
        underWay_.back().callers.push_back(std::move(completion));
        if (anonymousToken_) builder.cookies[anonymousTokenName] = anonymousToken_->value;
    }
    const auto& client = RestClient::shared();
    client.dataRequest(
        builder.build(), [self = shared_from_this(), number, url = builder.url](
                             const std::optional<std::string>& body, ErrorRef error) {
            RestClient::shared().decodeJSON(
                body, std::move(error), [&](const JSONObject& response, const ErrorRef& failure) {
                    self->finishFetch(number, url, response, failure);
                });
        });
}

void ZentaraIDManager::finishFetch(std::uint64_t number, const URL& url, const JSONObject& response,
                                   const ErrorRef& error) {
    std::optional<Token> token;
    std::optional<std::string> hsid;
    if (!error) {
        token = tokenIn(response);
        hsid = stringMember(response, hsidTokenName);
    }
    std::vector<Fetch> ended;
    {
        const MutexLock lock(mutex_);
        const auto fetch = std::ranges::find(underWay_, number, &Fetch::number);
        // Another fetch was the first to succeed. A second identity must not replace its own.
        if (fetch == underWay_.end()) return;
        if (error) {
            ended.push_back(std::move(*fetch));
            underWay_.erase(fetch);
        } else {
            ended.swap(underWay_);
            if (token) anonymousToken_ = token;
            hsidToken_ = hsid;
        }
    }
    const bool hasNoToken = !error && !isReady();
    failures_.report(withHost(url, hasNoToken ? std::make_shared<NoToken>() : error));
    if (token) persist(*token);
    for (const auto& fetch : ended) {
        for (const auto& completion : fetch.callers)
            completion(hsid, error);
    }
}

void ZentaraIDManager::persist(const Token& token) {
    {
        const MutexLock lock(storageMutex_);
        // Without its file the token still serves this run.
        tokenFile_.report(anonymousStorage_->save(std::span(&token, 1)));
    }
    if (onReady_) onReady_();
}

}  // namespace zentara
