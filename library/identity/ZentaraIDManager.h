#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dispatch/storage/Storage.h"
#include "identity/IDManager.h"
#include "network/RestClient.h"
#include "support/FailureReporter.h"
#include "support/Mutex.h"
#include "support/threads/Ticker.h"

namespace zentara {

/// Fetches, keeps and persists the user's tokens.
class ZentaraIDManager final : public IDManager,
                               public std::enable_shared_from_this<ZentaraIDManager> {
  public:
    static constexpr std::string_view anonymousPublicTokenName = "qvn_uid_public";
    static constexpr std::string_view anonymousTokenName = "qvn_uid";
    static constexpr std::string_view hsidTokenName = "hsid";
    static constexpr std::string_view advertisingTokenName = "ADVERTISING_ID";

    struct Collaborators {
        std::string userAgent;
        std::unique_ptr<Storage<Token>> anonymousStorage;
        std::unique_ptr<TickerProtocol> ticker;
        RemoteService collector;
        /// Called without a lock each time a token has been stored; may be null.
        std::function<void()> onReady;
        /// Tells how old a fetch is.
        std::function<TickerProtocol::Clock::time_point()> now;
    };

    /// A manager that starts with the stored token, if there is one, and that fetches a token at
    /// once and then on every tick until one fetch succeeds.
    [[nodiscard]] static std::shared_ptr<ZentaraIDManager> create(Collaborators collaborators);

    ~ZentaraIDManager() override;

    [[nodiscard]] bool isReady() const override;
    [[nodiscard]] StringMap getHeaders(
        const std::optional<ExtraCookie>& extraCookie) const override;
    void setLoggedUser(UserTokenType tokenType, std::string token) override {
        loggedUserToken_.set(LoggedUser{tokenType, std::move(token)});
    }
    void removeLoggedUser() override { loggedUserToken_.set({}); }
    [[nodiscard]] std::optional<LoggedUser> getLoggedUser() const override {
        return loggedUserToken_.get();
    }
    void loadAnonymousToken(const TokenCompletion& completion) const override;
    void setAdvertisingId(std::string advertisingId) override {
        advertisingToken_.set(std::move(advertisingId));
    }
    void removeAdvertisingId() override { advertisingToken_.set({}); }
    void start(HsidCompletion completion) override;
    void fetchIdentity(std::function<void()> completion) override {
        fetch([completion = std::move(completion)](const FetchResult&) { completion(); });
    }
    void interrupt() override;
    [[nodiscard]] Status forget() override;
    void resume() override;
    void stop() override;

  private:
    /// The session token that came with a successful fetch, or why the fetch failed.
    using FetchResult = Result<std::optional<std::string>>;
    using FetchCompletion = std::function<void(const FetchResult& hsid)>;

    explicit ZentaraIDManager(Collaborators collaborators);

    /// A request in flight and the callers that it serves.
    struct Fetch {
        std::uint64_t number = 0;
        TickerProtocol::Clock::time_point began;
        std::vector<FetchCompletion> callers;
    };

    void beginTicking();
    void startTicker();
    /// Cancels the ticker, unless the identity was forgotten since `generation`.
    void endTicking(std::uint64_t generation);
    [[nodiscard]] std::uint64_t generation() const;
    void fetch(FetchCompletion completion);
    static void tell(const std::vector<Fetch>& fetches, const FetchResult& hsid);
    void finishFetch(std::uint64_t number, const URL& url, const Result<JSONObject>& response);
    [[nodiscard]] bool mayFetch() const { return !isStopped_ && collector_.client.isOpen(); }
    /// Stores the token, unless it was forgotten since `generation`.
    void persist(const Token& token, std::uint64_t generation);

    const std::string userAgent_;
    const std::unique_ptr<TickerProtocol> ticker_;  // synchronises itself
    const RemoteService collector_;
    const std::function<void()> onReady_;
    const std::function<TickerProtocol::Clock::time_point()> now_;
    FailureReporter failures_{Component::identity};  // synchronises itself
    // Likewise.
    mutable FailureReporter tokenFile_{Component::storage, "the anonymous token"};

    std::atomic<bool> isStopped_ = false;

    // Taken before `mutex_`.
    mutable Mutex storageMutex_;
    const std::unique_ptr<Storage<Token>> anonymousStorage_ ZENTARA_GUARDED_BY(storageMutex_);

    Guarded<std::optional<std::string>> advertisingToken_;
    Guarded<std::optional<LoggedUser>> loggedUserToken_;

    mutable Mutex mutex_;
    std::optional<Token> anonymousToken_ ZENTARA_GUARDED_BY(mutex_);
    std::optional<std::string> hsidToken_ ZENTARA_GUARDED_BY(mutex_);
    std::uint64_t lastFetch_ ZENTARA_GUARDED_BY(mutex_) = 0;
    /// How often the identity was forgotten.
    std::uint64_t generation_ ZENTARA_GUARDED_BY(mutex_) = 0;
    std::vector<Fetch> fetches_ ZENTARA_GUARDED_BY(mutex_);  // the youngest is the last
};

}  // namespace zentara
