#include "identity/ZentaraIDManager.h"

#include <algorithm>
#include <chrono>
#include <span>
#include <utility>

#include "network/HeaderText.h"
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
    std::optional<std::string> text;
    static_cast<void>(readMember(object, key, text));
    return text;
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
    std::unique_ptr<TickerProtocol> ticker, RemoteService collector, std::function<void()> onReady,
    TimeSource now) {
    std::shared_ptr<ZentaraIDManager> manager(
        new ZentaraIDManager(std::move(userAgent), std::move(anonymousStorage), std::move(ticker),
                             std::move(collector), std::move(onReady), std::move(now)));
    manager->beginTicking();
    return manager;
}

ZentaraIDManager::ZentaraIDManager(std::string userAgent,
                                   std::unique_ptr<Storage<Token>> anonymousStorage,
                                   std::unique_ptr<TickerProtocol> ticker, RemoteService collector,
                                   std::function<void()> onReady, TimeSource now)
    : userAgent_(std::move(userAgent)),
      ticker_(std::move(ticker)),
      collector_(std::move(collector)),
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
        self->fetch([weak](const FetchResult& hsid) {
            if (!hsid.ok()) return;
            if (const auto succeeded = weak.lock()) succeeded->ticker_->cancel();
        });
    });
    if (const auto settings = collector_.settings()) {
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
        tokenFile_.report(stored.error());
        if (stored.ok() && !stored->empty()) token = std::move(stored->front());
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
    fetch([completion = std::move(completion)](const FetchResult& hsid) {
        if (!completion) return;
        if (!hsid.ok()) {
            completion("");
        } else if (*hsid) {
            completion(**hsid);
        }
    });
}

void ZentaraIDManager::fetch(FetchCompletion completion) {
    const auto settings = collector_.settings();
    if (!settings) {
        const Status status = std::make_shared<NotConfigured>();
        failures_.report(status);
        return completion(status);
    }
    // A tick comes one interval after the last, or a little earlier, and is to begin a fetch.
    const std::chrono::duration<double> sharedFor(settings->identityRefreshInterval * 0.9);
    const auto now = now_();
    URLRequestBuilder builder(
        collector_.baseURL(settings->environment).appendingPathComponent(settings->idPath));
    std::uint64_t number = 0;
    {
        const MutexLock lock(mutex_);
        if (!fetches_.empty() && now - fetches_.back().began < sharedFor) {
            fetches_.back().callers.push_back(std::move(completion));
            return;
        }
        number = ++lastFetch_;
        fetches_.push_back({number, now, {}});
        fetches_.back().callers.push_back(std::move(completion));
        if (anonymousToken_) builder.cookies[anonymousTokenName] = anonymousToken_->value;
    }
    collector_.client.dataRequest(
        builder.build(),
        [self = shared_from_this(), number, url = builder.url](const Result<std::string>& body) {
            self->finishFetch(number, url, RestClient::decodeJSON(body));
        });
}

void ZentaraIDManager::finishFetch(std::uint64_t number, const URL& url,
                                   const Result<JSONObject>& response) {
    std::optional<Token> token;
    FetchResult hsid = std::optional<std::string>();
    if (response.ok()) {
        token = tokenIn(*response);
        *hsid = stringMember(*response, hsidTokenName);
    } else {
        hsid = response.status();
    }
    std::vector<Fetch> ended;
    {
        const MutexLock lock(mutex_);
        const auto fetch = std::ranges::find(fetches_, number, &Fetch::number);
        // Another fetch was the first to succeed. A second identity must not replace its own.
        if (fetch == fetches_.end()) return;
        if (hsid.ok()) {
            ended.swap(fetches_);
            if (token) anonymousToken_ = token;
            hsidToken_ = *hsid;
        } else {
            ended.push_back(std::move(*fetch));
            fetches_.erase(fetch);
        }
    }
    const bool hasNoToken = hsid.ok() && !isReady();
    const auto outcome = hasNoToken ? Status(std::make_shared<NoToken>()) : hsid.status();
    failures_.report(withHost(url, outcome));
    if (token) persist(*token);
    for (const auto& fetch : ended) {
        for (const auto& completion : fetch.callers)
            completion(hsid);
    }
}

void ZentaraIDManager::persist(const Token& token) {
    {
        const MutexLock lock(storageMutex_);
        // Without its file the token still serves this run.
        tokenFile_.report(anonymousStorage_->save(std::span(&token, 1)).error());
    }
    if (onReady_) onReady_();
}

}  // namespace zentara
