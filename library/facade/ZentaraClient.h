#pragma once

#include <chrono>
#include <concepts>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <zentara/AnyText.h>
#include <zentara/ClientSettings.h>
#include <zentara/Consent.h>
#include <zentara/Delivery.h>
#include <zentara/DeliveryPolicy.h>
#include <zentara/Event.h>
#include <zentara/EventDraft.h>
#include <zentara/EventError.h>
#include <zentara/Export.h>
#include <zentara/Hooks.h>
#include <zentara/HostApplication.h>
#include <zentara/JSONValue.h>
#include <zentara/Language.h>
#include <zentara/LogSink.h>
#include <zentara/URL.h>
#include <zentara/Version.h>
#include <zentara/ZentaraClientStatistics.h>
#include <zentara/ZentaraEndpoints.h>

namespace zentara {

/// What a background fetch achieved.
enum class BackgroundFetchResult : std::uint64_t {
    /// All events that were taken from the queue were delivered, except for those that are passed
    /// over from now on (`DeliveryPolicy::isolateRefused`).
    newData = 0,
    noData = 1,  ///< the queue was empty
    /// Some events could not be delivered and were put back; or nothing can be posted now: there is
    /// no shared client, no identity or no consent, or delivery is paused or waits.
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
/// client->send({.schemaId = "page-view", .schemaVersion = "1", .properties = {{"title", "Home"}}},
///              [](EventRef event, ZentaraClientErrorRef error) {
///                  if (error) std::cerr << event->schemaId() << ": " << error->what() << '\n';
///              });
/// ```
///
/// Every operation may be called from any thread, and from inside the library's callbacks. Nothing
/// waits for the network. `shutdown` is the exception to both. Callbacks are called without any
/// lock held. Each may be null. Callbacks must not throw. Callbacks on workers come one after the
/// other, so a callback must not wait for another; a slow callback delays only other callbacks.
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
                            std::optional<std::string> advertisingId = std::nullopt,
                            DeliveryPolicy delivery = {});

    /// Sets the schemas that the application brings: a table as the schemas service answers it,
    /// which `zentara_embed_schemas` of CMake compiles in. A client that is built later begins with
    /// it unless there is a cache of schemas, so that it is ready at its first start without a
    /// network; the first fetch replaces it. Nothing is written. A text that is no table is
    /// reported as a failure of the schemas, and otherwise ignored. Empty: none.
    ///
    /// Borrows the text, which must not change until the process ends. Any thread.
    static void setBundledSchemas(std::string_view table);

    /// The client of this process, built by the first call.
    ///
    /// `readyCallback` belongs to the call that builds. It is called with null each time schemas
    /// arrive and with an error each time they could not be obtained; the last call holds. With
    /// schemas in the cache the first call comes before `get` returns; the others come on a worker
    /// thread. If the client exists already, the callback is called at once with null.
    ///
    /// Throws `ZentaraClientNotConfiguredError` before `useSettings`, and if it meets a `shutdown`
    /// that another thread has begun.
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
    /// needed; throws `ZentaraClientNotConfiguredError` before `useSettings`. Does nothing while
    /// consent is denied.
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

    /// The same for one event, whose members are named:
    ///
    /// ```cpp
    /// client->send({.schemaId = "page-view", .schemaVersion = "1", .properties = {{"page", 3}}});
    /// ```
    void send(EventDraft draft, SendHandler handler = {});

    /// Sends one event with its own relation id. A null pointer is skipped: nothing is called.
    template <std::same_as<EventRef> Ref>  // no `{event}`, which is a list
    void send(const Ref& event, SendHandler handler = {}) {
        sendEvent(event, handler);
    }

    /// What `send` would say of these properties, the global ones merged below them. Sends
    /// nothing, counts nothing, and calls no function of `setBeforeQueue`. Properties that JSON
    /// cannot hold are invalid. Any thread.
    [[nodiscard]] ValidationReport validate(const std::string& schemaId,
                                            const std::string& schemaVersion,
                                            const JSONObject& properties) const;
    [[nodiscard]] ValidationReport validate(const EventDraft& draft) const {
        return validate(draft.schemaId, draft.schemaVersion, draft.properties);
    }

    /// Starts a new context: the events sent from now on carry another context id.
    void newContextId();

    /// The current context id, a UUID in lower case.
    [[nodiscard]] std::string getContextId() const;

    /// Sets the advertising id of the settings and of this client's identity cookies. Nothing
    /// happens without settings.
    void setAdvertisingId(std::string advertisingIdentifier);
    void removeAdvertisingId();

    /// Reports the anonymous token that the shared client has stored, before it returns; none while
    /// consent is denied, and that of an earlier run while it is pending. Builds that client if
    /// needed; throws `ZentaraClientNotConfiguredError` before `useSettings`.
    void getAnonymousUser(const AnonymousUserCallback& callbackUser);

    /// Lets the shared client fetch the identity, and reports the session token that came with it:
    /// "" when the fetch failed, and while consent is pending or denied. Not called when the fetch
    /// succeeded without one. Called on a worker thread. Builds that client if needed; throws
    /// `ZentaraClientNotConfiguredError` before `useSettings`.
    void getHsid(HsidCallback callbackHsid);

    /// Lets the shared client deliver up to ten queued events now, for an application's
    /// background-fetch hook or to drain the queue. Events stay held back: only a later `send`
    /// moves them to the queue. Fails while consent is pending or denied. The completion is called
    /// exactly once, on a worker thread or before this returns.
    void performFetch(FetchCallback completion);

    // Delivery on demand. These work on the shared client.

    /// Delivers batch after batch until the queue is empty, a batch fails, or `deadline` has
    /// passed. Events that were held back and that the schemas allow by now are queued first. A
    /// batch in flight at the deadline is not interrupted. The completion, which may be null, is
    /// called exactly once, on a worker. Several flushes share their posts. Any thread.
    ///
    /// The flush first waits for the first schemas of the client, if events are held back for them,
    /// and for one attempt to fetch an identity, if there is none. If the queue is not
    /// empty, it fails at once without consent, while delivery is paused, and while the collector
    /// has asked to wait; without a client it always does.
    static void flush(std::chrono::milliseconds deadline, FlushCallback completion = {});

    /// Ends the library's work: events sent from now on are refused with `ClientShutDownError`;
    /// the queue is flushed until `deadline`; what is still in flight is put back; all functions
    /// that the host has set are forgotten. When this returns, no callback runs and no thread of
    /// the library holds anything of the host's, unless a callback of the host has not returned by
    /// then: in that case the outcome is `deadline`. Handlers of `send` belong to the threads that
    /// send, and are not waited for. The consent stays. A later `get` builds anew, with the same
    /// settings; until then the other calls that build a client throw as before `useSettings`.
    ///
    /// Blocks the calling thread, for `deadline` and a moment more at most. Any thread but one that
    /// runs a callback: there it does nothing, and its outcome is `refused`. May be called twice,
    /// by several threads at once, and while the process exits.
    static FlushResult shutdown(std::chrono::milliseconds deadline);

    /// Posts no events until `resumeDelivery`, in this process: a costly link, for example. Events
    /// are queued, identity and schemas are fetched. `performFetch` and `flush` fail. A batch in
    /// flight is not interrupted. Any thread.
    static void pauseDelivery() noexcept;
    /// Posts events again, from the next tick on.
    static void resumeDelivery() noexcept;

    /// Posts those events again that were passed over (`DeliveryPolicy::isolateRefused`), from the
    /// next tick on. Any thread.
    static void retryRefused();

    // The user's will.

    /// Sets what the user allows, for this process at once and for later starts, before it
    /// returns. May be called before the settings are there, but after
    /// `HostApplication::setDocumentsDirectory`. Other processes of the application learn it when
    /// they start.
    ///
    /// `pending` and `denied` interrupt the requests under way: when this returns, no further byte
    /// leaves. `denied` removes the queued, held-back and set-aside events, the identity and the
    /// logged user, in memory and on disk; also at each start, should anything be left. False if
    /// the state could not be stored or something could not be removed: the state then holds for
    /// this process, and `storageFailure` in the statistics says why. A value outside `Consent` is
    /// a fatal error. Any thread.
    static bool setConsent(Consent consent);

    /// What was set last, in this run or an earlier one; `granted` if nothing was. `pending` while
    /// the file that holds it cannot be read, which each call tries again. Any thread.
    [[nodiscard]] static Consent consent();

    /// Forgets the user: removes the queued, held-back and set-aside events, the anonymous token,
    /// the session token and the logged user, and begins a new context, a new client UUID and the
    /// fetch of a new identity. Requests under way are interrupted; events in flight are not sent
    /// again. Keeps the settings, the advertising id and the consent. False if a file could not be
    /// removed. Works on all clients of the process; without one, only the files go. An event whose
    /// `send` has begun before may be queued after it, for the old user. Any thread.
    static bool forgetUser();

    // Functions and values of the host. They hold for the process, may be set at any moment from
    // any thread, replace what was set before, and are forgotten by `shutdown`. A function that was
    // replaced may still run for calls that began before.

    /// Hands every line that the library would print, of `least` level or above, to `sink`. With a
    /// sink nothing is printed, also not the lines below that level. Null prints again.
    static void setLogSink(LogLevel least, LogSink sink);

    /// Sets the function that sees each event before it is queued. Null removes it.
    static void setBeforeQueue(BeforeQueue function);

    /// Sets the properties that every event gets, unless it has a property of that name itself.
    /// An empty object removes them.
    static void setGlobalProperties(JSONObject properties);

    /// Sets the function that is told what becomes of events after `send`. Called on a worker, one
    /// call after the other, and may call the library. Null removes it.
    static void setDeliveryObserver(DeliveryObserver observer);

    /// For development builds: with true, a fatal error ends the process when an event is sent that
    /// its schema refuses, or for which there is no schema. Its line holds the messages. Events
    /// that were held back do not end the process: an earlier build may have sent them.
    static void setFailFast(bool enabled);

    /// Starts a new context when nothing was sent for `timeout`, with the next event. Measured by
    /// the monotonic clock, which goes on through suspend. Events that the function of
    /// `setBeforeQueue` drops or refuses are not sent. Zero or less, the default, leaves it to
    /// `newContextId`.
    static void setSessionTimeout(std::chrono::seconds timeout);

    ~ZentaraClient();
    ZentaraClient(const ZentaraClient&) = delete;
    ZentaraClient& operator=(const ZentaraClient&) = delete;

  private:
    friend class ClientLifecycle;
    friend struct ZentaraClientAccess;
    friend struct ZentaraClientBuilder;
    struct Implementation;

    explicit ZentaraClient(std::unique_ptr<Implementation> implementation);

    void sendEvent(const EventRef& event, const SendHandler& handler);

    /// Sends one event on this thread, queued with `referer`. `event` carries none.
    void sendOne(const EventRef& event, const std::string& referer, const SendHandler& handler);

    /// Whether the client has collaborators and belongs to this process.
    [[nodiscard]] bool isWorking() const noexcept;

    // Constant after construction. Null in a client without collaborators.
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace zentara
