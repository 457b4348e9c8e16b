#pragma once

#include <functional>
#include <optional>
#include <string>

#include <zentara/ClientSettings.h>
#include "identity/Token.h"
#include "model/JSONCodable.h"
#include "support/Status.h"

namespace zentara {

/// The token of a logged-in user.
struct LoggedUser {
    UserTokenType type;
    std::string token;

    friend bool operator==(const LoggedUser&, const LoggedUser&) = default;
};

/// A cookie beside those of the identity itself.
struct ExtraCookie {
    std::string name;
    std::string value;
};

/// Keeps the identity of the user. Safe for use from any thread.
class IDManager {
  public:
    using TokenCompletion = std::function<void(std::optional<Token>)>;
    using HsidCompletion = std::function<void(const std::string& hsid)>;

    virtual ~IDManager() = default;

    /// Whether there is an anonymous token or a logged user.
    [[nodiscard]] virtual bool isReady() const = 0;

    /// The "User-Agent" header and, unless it is empty, the "Cookie" header of the identity. A
    /// cookie that could forge another cookie or header, by a semicolon or a control character, is
    /// left out.
    [[nodiscard]] virtual StringMap getHeaders(
        const std::optional<ExtraCookie>& extraCookie) const = 0;

    virtual void setLoggedUser(UserTokenType tokenType, std::string token) = 0;
    virtual void removeLoggedUser() = 0;
    [[nodiscard]] virtual std::optional<LoggedUser> getLoggedUser() const = 0;

    /// Reports the stored token before it returns.
    virtual void loadAnonymousToken(const TokenCompletion& completion) const = 0;

    virtual void setAdvertisingId(std::string advertisingId) = 0;
    virtual void removeAdvertisingId() = 0;

    /// Fetches the anonymous token and reports the session token that came with it, or "" when the
    /// fetch failed, on a worker thread. The completion is not called when the answer has no
    /// session token. A young fetch in flight is shared, so that two requests at the start do not
    /// make two identities.
    virtual void start(HsidCompletion completion) = 0;

    /// Fetches the anonymous token in the same way. The completion is always called.
    virtual void fetchIdentity(std::function<void()> completion) = 0;

    /// Ends the fetches in flight: they have failed for their callers, and their answers are
    /// ignored. Also each fetch fails that begins while the HTTP session is closed. Neither counts
    /// as a failure of the identity.
    virtual void interrupt() = 0;

    /// Removes the anonymous token, the session token and the logged user, in memory and on disk,
    /// interrupts, and goes on with the attempts to fetch an identity. A failure is that of
    /// removing the file.
    [[nodiscard]] virtual Status forget() = 0;

    /// Makes the next attempt now, unless one has succeeded.
    virtual void resume() = 0;

    /// Interrupts, and fetches no more.
    virtual void stop() = 0;
};

}  // namespace zentara
