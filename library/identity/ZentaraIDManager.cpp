#include "identity/ZentaraIDManager.h"

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

}  // namespace

std::shared_ptr<ZentaraIDManager> ZentaraIDManager::create(
    std::string userAgent, std::unique_ptr<Storage<Token>> anonymousStorage,
    std::unique_ptr<TickerProtocol> ticker, std::function<void()> onReady) {
    std::shared_ptr<ZentaraIDManager> manager(new ZentaraIDManager(
        std::move(userAgent), std::move(anonymousStorage), std::move(ticker), std::move(onReady)));
    manager->beginTicking();
    return manager;
}

ZentaraIDManager::ZentaraIDManager(std::string userAgent,
                                   std::unique_ptr<Storage<Token>> anonymousStorage,
                                   std::unique_ptr<TickerProtocol> ticker,
                                   std::function<void()> onReady)
    : userAgent_(std::move(userAgent)),
      ticker_(std::move(ticker)),
      onReady_(std::move(onReady)),
      anonymousStorage_(std::move(anonymousStorage)) {
    loadAnonymousToken([this](std::optional<Token> stored) {
        if (stored) setAnonymousToken(*std::move(stored));
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
    URLRequestBuilder builder(ZentaraEndpoints::collector(settings->environment)
                                  .appendingPathComponent(settings->idPath));
    {
        const MutexLock lock(mutex_);
        waiting_.push_back(std::move(completion));
        if (std::exchange(fetching_, true)) return;
        if (anonymousToken_) builder.cookies[anonymousTokenName] = anonymousToken_->value;
    }
    const auto& client = RestClient::shared();
    client.dataRequest(
        builder.build(), [self = shared_from_this(), url = builder.url](
                             const std::optional<std::string>& body, ErrorRef error) {
            RestClient::shared().decodeJSON(
                body, std::move(error), [&](const JSONObject& response, ErrorRef failure) {
                    self->finishFetch(url, response, std::move(failure));
                });
        });
}

void ZentaraIDManager::finishFetch(const URL& url, const JSONObject& response, ErrorRef error) {
    ErrorRef problem = error;
    std::optional<std::string> hsid;
    if (!error) {
        auto value = stringMember(response, anonymousTokenName);
        auto publicValue = stringMember(response, anonymousPublicTokenName);
        if (value && publicValue) {
            setAnonymousToken(
                {std::string(anonymousTokenName), *std::move(value), *std::move(publicValue)});
        } else if (!isReady()) {
            problem = std::make_shared<NoToken>();
        }
        hsid = stringMember(response, hsidTokenName);
    }
    failures_.report(withHost(url, problem));
    std::vector<FetchCompletion> served;
    {
        const MutexLock lock(mutex_);
        if (!error) hsidToken_ = hsid;
        fetching_ = false;
        served.swap(waiting_);
    }
    for (const auto& completion : served)
        completion(hsid, error);
}

void ZentaraIDManager::setAnonymousToken(Token token) {
    {
        const MutexLock lock(storageMutex_);
        // Without its file the token still serves this run.
        tokenFile_.report(anonymousStorage_->save(std::span(&token, 1)));
    }
    {
        const MutexLock lock(mutex_);
        anonymousToken_ = std::move(token);
    }
    if (onReady_) onReady_();
}

}  // namespace zentara
