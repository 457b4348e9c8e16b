#include "identity/ZentaraIDManager.h"

#include <algorithm>
#include <chrono>
#include <span>

#include "network/URLRequestBuilder.h"
#include "support/PlatformError.h"

namespace zentara {

namespace {

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

std::shared_ptr<ZentaraIDManager> ZentaraIDManager::create(Collaborators collaborators) {
    std::shared_ptr<ZentaraIDManager> manager(new ZentaraIDManager(std::move(collaborators)));
    manager->beginTicking();
    return manager;
}

ZentaraIDManager::ZentaraIDManager(Collaborators collaborators)
    : userAgent_(std::move(collaborators.userAgent)),
      ticker_(std::move(collaborators.ticker)),
      collector_(std::move(collaborators.collector)),
      onReady_(std::move(collaborators.onReady)),
      now_(std::move(collaborators.now)),
      anonymousStorage_(std::move(collaborators.anonymousStorage)) {
    loadAnonymousToken([this](const std::optional<Token>& stored) {
        if (!stored) return;
        {
            const MutexLock lock(mutex_);
            anonymousToken_ = stored;
        }
        persist(*stored, 0);
    });
}

ZentaraIDManager::~ZentaraIDManager() {
    ticker_->cancel();
}

void ZentaraIDManager::beginTicking() {
    ticker_->setHandler([weak = weak_from_this()] {
        const auto self = weak.lock();
        if (!self) return;
        self->fetch([weak, generation = self->generation()](const FetchResult& hsid) {
            if (!hsid.ok()) return;
            if (const auto succeeded = weak.lock()) succeeded->endTicking(generation);
        });
    });
    startTicker();
}

void ZentaraIDManager::startTicker() {
    if (const auto settings = collector_.settings()) {
        ticker_->start(TickerProtocol::Clock::now(), settings->identityRefreshInterval);
    }
}

std::uint64_t ZentaraIDManager::generation() const {
    const MutexLock lock(mutex_);
    return generation_;
}

void ZentaraIDManager::endTicking(std::uint64_t generation) {
    // Under the lock: `forget` starts the ticker after its next generation has begun.
    const MutexLock lock(mutex_);
    if (generation == generation_) ticker_->cancel();
}

bool ZentaraIDManager::isReady() const {
    if (loggedUserToken_.get()) return true;
    const MutexLock lock(mutex_);
    return anonymousToken_.has_value();
}

StringMap ZentaraIDManager::getHeaders(const std::optional<ExtraCookie>& extraCookie) const {
    std::string cookies;
    {
        const MutexLock lock(mutex_);
        if (anonymousToken_) appendCookie(cookies, anonymousTokenName, anonymousToken_->value);
        if (extraCookie) appendCookie(cookies, extraCookie->name, extraCookie->value);
        if (hsidToken_) appendCookie(cookies, hsidTokenName, *hsidToken_);
    }
    if (const auto id = advertisingToken_.get()) appendCookie(cookies, advertisingTokenName, *id);
    StringMap headers{{"User-Agent", userAgent_}};
    if (!cookies.empty()) headers.emplace("Cookie", std::move(cookies));
    return headers;
}

void ZentaraIDManager::loadAnonymousToken(const TokenCompletion& completion) const {
    std::optional<Token> token;
    {
        const MutexLock lock(storageMutex_);
        auto stored = anonymousStorage_->load();
        tokenFile_.report(stored.status());
        if (stored.ok() && !stored->empty()) token = std::move(stored->front());
    }
    if (completion) completion(std::move(token));
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

void ZentaraIDManager::interrupt() {
    std::vector<Fetch> ended;
    {
        const MutexLock lock(mutex_);
        ended.swap(fetches_);
    }
    tell(ended, plainError("the fetch was interrupted"));
}

Status ZentaraIDManager::forget() {
    interrupt();
    loggedUserToken_.set({});
    {
        const MutexLock lock(mutex_);
        anonymousToken_.reset();
        hsidToken_.reset();
        ++generation_;
    }
    Status status;
    {
        const MutexLock lock(storageMutex_);
        status = anonymousStorage_->erase();
        tokenFile_.report(status);
    }
    if (!isStopped_) startTicker();
    return status;
}

void ZentaraIDManager::resume() {
    if (!isStopped_ && ticker_->isRunning()) startTicker();
}

void ZentaraIDManager::stop() {
    isStopped_ = true;
    ticker_->cancel();
    interrupt();
}

void ZentaraIDManager::tell(const std::vector<Fetch>& fetches, const FetchResult& hsid) {
    for (const auto& fetch : fetches) {
        for (const auto& completion : fetch.callers)
            completion(hsid);
    }
}

void ZentaraIDManager::fetch(FetchCompletion completion) {
    // Before the token is read: if the user is forgotten from here on, the request fails.
    const auto closings = collector_.client.closings();
    if (!mayFetch()) return completion(plainError("no request is made"));
    const auto settings = collector_.settings();
    if (!settings) {
        const Status status = plainError("the library is not configured");
        failures_.report(status);
        return completion(status);
    }
    // Each tick must begin a fetch, and may come a little less than an interval after the last.
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
    auto request = builder.build();
    request.closings = closings;
    collector_.client.dataRequest(
        std::move(request),
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
    std::uint64_t generation = 0;
    {
        const MutexLock lock(mutex_);
        generation = generation_;
        const auto fetch = std::ranges::find(fetches_, number, &Fetch::number);
        // Another fetch has succeeded, and a second identity must not replace the first; or the
        // fetch was interrupted.
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
    const Status noToken = plainError("the answer holds no anonymous token");
    const bool isInterrupted = !hsid.ok() && !mayFetch();
    if (!isInterrupted) failures_.report(withHost(url, hasNoToken ? noToken : hsid.status()));
    if (token) persist(*token, generation);
    tell(ended, hsid);
}

void ZentaraIDManager::persist(const Token& token, std::uint64_t generation) {
    {
        const MutexLock lock(storageMutex_);
        {
            const MutexLock state(mutex_);
            if (generation != generation_) return;
        }
        // Without its file the token still serves this run.
        tokenFile_.report(anonymousStorage_->save(std::span(&token, 1)));
    }
    if (onReady_) onReady_();
}

}  // namespace zentara
