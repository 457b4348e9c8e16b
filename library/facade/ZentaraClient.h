#pragma once

#if defined(__cplusplus) && __cplusplus < 202002L
#error "ZentaraClient needs C++20: compile with -std=c++20"
#endif

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <zentara/AnyText.h>
#include <zentara/ClientSettings.h>
#include <zentara/Event.h>
#include <zentara/EventError.h>
#include <zentara/Export.h>
#include <zentara/HostApplication.h>
#include <zentara/JSONValue.h>
#include <zentara/URL.h>
#include <zentara/ZentaraClientStatistics.h>
#include <zentara/ZentaraEndpoints.h>

namespace zentara {

/// What a background fetch achieved.
enum class BackgroundFetchResult : std::uint64_t {
    newData = 0,  ///< all events that were taken from the queue were delivered
    noData = 1,   ///< the queue was empty
    /// Some events could not be delivered and were put back; or there is no shared client or no
    /// identity yet.
    failed = 2,
};

/// The library's one entry point.
///
/// ```cpp
/// using namespace zentara;
/// ZentaraClient::useSettings("my-tenant", ZentaraEnvironment::qa);
/// auto client = ZentaraClient::get([](ZentaraClientErrorRef error) {
///     if (!error) { /* schemas are there, events are validated and queued from now on */ }
/// });
/// client->send("page-view", "1", "application/json", "https://example.com/", "",
///              {{"title", "Home"}}, std::nullopt,
///              [](EventRef event, ZentaraClientErrorRef error) {
///                  if (error) std::cerr << event->schemaId() << ": " << error->what() << '\n';
///              });
/// ```
///
/// Every operation may be called from any thread, and from inside the library's callbacks. Nothing
/// waits for the network. Callbacks are called without any lock held. Each may be null. Callbacks
/// must not throw. Callbacks on workers come one after the other, so a callback must not wait for
/// another; a slow callback delays only other callbacks.
///
/// In a child that was forked off after the first `get` nothing works: events are refused with
/// `EventNotQueuedError`, fetches and identities report that they failed, and the rest does
/// nothing.
class ZENTARA_EXPORT ZentaraClient : public std::enable_shared_from_this<ZentaraClient> {
  public:
    /// Null when the library is ready, otherwise why it is not.
    using ReadyCallback = std::function<void(ZentaraClientErrorRef)>;
    /// The event, and null when it was queued, otherwise what became of it.
    using SendHandler = std::function<void(EventRef, ZentaraClientErrorRef)>;
    /// The token's type, its value and its public value; "", "" and nothing without a token.
    using AnonymousUserCallback = std::function<void(
        const std::string& type, const std::string& value, std::optional<std::string> publicValue)>;
    using HsidCallback = std::function<void(const std::string& hsid)>;
    using FetchCallback = std::function<void(BackgroundFetchResult)>;

    /// Configures the process. Called again, it replaces the whole record. A client that is already
    /// built uses the new tenant and environment for its next request, also for events that were
    /// queued and for the identity that was issued before. It keeps its advertising id, which
    /// `setAdvertisingId` and `removeAdvertisingId` change. A value outside `ZentaraEnvironment` is
    /// a fatal error.
    static void useSettings(std::string tenant, ZentaraEnvironment zentaraEnvironment,
                            std::optional<std::string> advertisingId = std::nullopt);

    /// The client of this process, built by the first call.
    ///
    /// `readyCallback` belongs to the call that builds. It is called with null each time schemas
    /// arrive and with an error each time they could not be obtained; the last call holds. With
    /// schemas in the cache the first call comes before `get` returns; the others come on a worker
    /// thread. If the client exists already, the callback is called at once with null.
    ///
    /// Throws `ZentaraClientNotConfiguredError` before `useSettings`.
    static std::shared_ptr<ZentaraClient> get(ReadyCallback readyCallback = nullptr);

    /// Whether events are validated and queued when sent. Until then they are held back, on disk.
    /// Each report of the shared client's schemas sets it; so does sharing a client that has had a
    /// report. Building a client does not set it: until its first schemas arrive, a new client
    /// holds events back, whatever the value is.
    [[nodiscard]] static bool isReady() noexcept;
    /// Sets it until the next report. With true, the shared client validates by its present
    /// schemas.
    static void setIsReady(bool ready) noexcept;

    /// The client that `get` returns, or null. Setting it to null makes the next `get` build anew.
    [[nodiscard]] static std::shared_ptr<ZentaraClient> sharedClient();
    static void setSharedClient(std::shared_ptr<ZentaraClient> client);

    /// What became of the events of this process so far, and why parts of the library failed last.
    /// Takes a lock for a moment and copies the texts of failures, if there are any. Any thread.
    [[nodiscard]] static ZentaraClientStatistics statistics() noexcept;

    /// Sets the user whose token goes with the events sent from now on. Builds the client if
    /// needed; throws `ZentaraClientNotConfiguredError` before `useSettings`.
    static void setLoggedUser(UserTokenType tokenType, std::string token);

    /// Forgets the logged user; otherwise like `setLoggedUser`.
    static void removeLoggedUser();

    /// An event with exactly these values, to be sent later with others. Bytes that are not UTF-8
    /// become U+FFFD.
    [[nodiscard]] static EventRef createEvent(std::string schemaId, std::string schemaVersion,
                                              std::string contentType, AnyText url, AnyText referer,
                                              JSONObject properties,
                                              std::optional<std::string> relationId = std::nullopt);

    /// Validates, stamps and queues one event. `handler` is called exactly once, on this thread,
    /// before `send` returns; null means that the event is on disk. The handler's event has an
    /// empty referer; the queued event has the caller's.
    void send(std::string schemaId, std::string schemaVersion, std::string contentType, AnyText url,
              AnyText referer, JSONObject properties,
              std::optional<std::string> relationId = std::nullopt, SendHandler handler = {});

    /// Sends each event in order, as above, with `relationId` in place of its own, also when
    /// absent. `handler` is called once per event. Null pointers in the list are skipped.
    void send(std::vector<EventRef> events, std::optional<std::string> relationId,
              SendHandler handler = {});

    /// Starts a new context: the events sent from now on carry another context id.
    void newContextId();

    /// The current context id, a UUID in lower case.
    [[nodiscard]] std::string getContextId() const;

    /// Sets the advertising id of the settings and of this client's identity cookies. Nothing
    /// happens without settings.
    void setAdvertisingId(std::string advertisingIdentifier);
    void removeAdvertisingId();

    /// Reports the anonymous token that the shared client has stored, before it returns. Builds
    /// that client if needed; throws `ZentaraClientNotConfiguredError` before `useSettings`.
    void getAnonymousUser(const AnonymousUserCallback& callbackUser);

    /// Lets the shared client fetch the identity, and reports the session token that came with it:
    /// "" when the fetch failed. Not called when the fetch succeeded without one. Called on a
    /// worker thread. Builds that client if needed; throws `ZentaraClientNotConfiguredError` before
    /// `useSettings`.
    void getHsid(HsidCallback callbackHsid);

    /// Lets the shared client deliver up to ten queued events now, for an application's
    /// background-fetch hook or to drain the queue. Events stay held back: only a later `send`
    /// moves them to the queue. The completion is called exactly once, on a worker thread or before
    /// this returns.
    void performFetch(FetchCallback completion);

    ~ZentaraClient();
    ZentaraClient(const ZentaraClient&) = delete;
    ZentaraClient& operator=(const ZentaraClient&) = delete;

  private:
    friend struct ZentaraClientAccess;
    friend struct ZentaraClientBuilder;
    struct Implementation;

    explicit ZentaraClient(std::unique_ptr<Implementation> implementation);

    /// Sends one event on this thread, queued with `referer`. `event` carries none.
    void sendOne(const EventRef& event, const std::string& referer, const SendHandler& handler);

    /// Whether the client has collaborators and belongs to this process.
    [[nodiscard]] bool isWorking() const noexcept;

    // Constant after construction. Null in a client without collaborators.
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zentara
