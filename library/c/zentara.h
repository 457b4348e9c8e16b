#pragma once

/// @file
/// The library for C11 and for every language that can call C.
///
/// ```c
/// zentara_use_settings(zentara_text_of("my-tenant"), ZENTARA_ENVIRONMENT_QA,
///                      zentara_text_of(NULL), NULL);
/// zentara_get(on_ready, NULL, NULL, NULL);
/// zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
/// draft.schema_id = zentara_text_of("page-view");
/// draft.schema_version = zentara_text_of("1");
/// draft.properties_json = zentara_text_of("{\"title\":\"Home\"}");
/// zentara_send(NULL, &draft, on_sent, NULL, NULL);
/// ```
///
/// What the calls mean, the threads that they may be called on and the threads of the callbacks are
/// those of `ZentaraClient` in C++. Every function may be called from any thread and from inside
/// callbacks, before the settings, after the shutdown and in a forked child. Where that has an
/// answer of its own, its comment says so.
///
/// - **Texts** are UTF-8 with a length, and are copied. Bytes that are not UTF-8 become U+FFFD.
/// - **Handles** are opaque. `zentara_…_make` and `zentara_…_copy` give the caller a handle or a
///   reference, to be released with `zentara_…_release`. `…_take` takes a handle over, whatever the
///   result. All others borrow. A handle that a callback receives is valid during that call only;
///   it can be copied, and `…_release` refuses it. Handles of clients, events and errors may be
///   used by several threads at once. A handle of another type, and a released handle whose memory
///   is not in use again, is refused with `ZENTARA_INVALID_HANDLE`; that is a help, not a promise.
/// - **Records** begin with their size, so that they can grow: `ZENTARA_INIT(type)` makes an empty
///   one. A record of an older program is shorter; what it lacks counts as absent.
/// - **Callbacks** are a function, which may be null, a context that it receives, and a function
///   that releases the context, which may be null too. The context is released exactly once: after
///   the last call of the function, also if there is none. A callback must neither throw nor jump
///   out of its call: what then happens is not defined, since an exception of C++ cannot be caught
///   in general.
/// - **Failures** are a status. A function that makes a handle returns null instead.
///   `zentara_last_status` and `zentara_last_problem` tell the reason. Nothing was done then.

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>
#include <string.h>

#include <zentara/Export.h>
#include <zentara/Version.h>

#if defined(__cplusplus)
#define ZENTARA_NOEXCEPT noexcept
/// An empty record of this type.
#define ZENTARA_INIT(type) zentara_init<type>()
template <typename Record>
Record zentara_init() noexcept {
    Record record{};
    record.size = sizeof(Record);
    return record;
}
extern "C" {
#else
#define ZENTARA_NOEXCEPT
#define ZENTARA_INIT(type) ((type){.size = sizeof(type)})
#endif

// Texts and results.

/// UTF-8 text of `length` bytes, which may hold zeros. A null pointer stands for an absent text.
typedef struct zentara_text {
    const char* bytes;
    size_t length;
} zentara_text;

/// The text up to its first zero; absent for null.
static inline zentara_text zentara_text_of(const char* text) {
    zentara_text result = {text, text == NULL ? 0 : strlen(text)};
    return result;
}

/// Whether a call was right, and done.
typedef int32_t zentara_status;
enum {
    ZENTARA_OK = 0,
    /// A null that is needed, an unknown enumerator, a record without its size, JSON that cannot be
    /// read, a URL that is none.
    ZENTARA_INVALID_ARGUMENT = 1,
    ZENTARA_INVALID_HANDLE = 2,  ///< released, or of another type
    ZENTARA_NOT_CONFIGURED = 3,  ///< before `zentara_use_settings`
    ZENTARA_NO_MEMORY = 4,
    ZENTARA_FAILED = 5,  ///< not done whole; `storage_failure` in the statistics says why
};

/// The status of the last call of this thread that was not `ZENTARA_OK`.
ZENTARA_EXPORT zentara_status zentara_last_status(void) ZENTARA_NOEXCEPT;
/// Its reason, in words. Valid until another call of this thread fails.
ZENTARA_EXPORT zentara_text zentara_last_problem(void) ZENTARA_NOEXCEPT;

/// The version of the library that runs, as `ZENTARA_VERSION` is that of the header.
ZENTARA_EXPORT const char* zentara_version(void) ZENTARA_NOEXCEPT;

// The host application and its endpoints. To be set before the first `zentara_get`.

/// Names the application, for example "com.example.news". Absent: the default.
ZENTARA_EXPORT zentara_status zentara_set_bundle_identifier(zentara_text identifier)
    ZENTARA_NOEXCEPT;

/// The directory of the library's files. Absent or empty: the default.
ZENTARA_EXPORT zentara_status zentara_set_documents_directory(zentara_text path) ZENTARA_NOEXCEPT;
/// The directory of the library's preferences. Absent or empty: the default.
ZENTARA_EXPORT zentara_status zentara_set_preferences_directory(zentara_text path) ZENTARA_NOEXCEPT;

/// What is in force; absent if there is none. Valid until the next call of the same function on
/// this thread.
ZENTARA_EXPORT zentara_text zentara_bundle_identifier(void) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_text zentara_documents_directory(void) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_text zentara_preferences_directory(void) ZENTARA_NOEXCEPT;

/// The facts about the device that go into the user agent. Absent texts are empty.
ZENTARA_EXPORT zentara_status zentara_set_device(zentara_text system_name,
                                                 zentara_text system_version,
                                                 zentara_text hardware_model) ZENTARA_NOEXCEPT;

/// The places that the library talks to. An absent text changes nothing.
typedef struct zentara_endpoints {
    size_t size;
    zentara_text production_collector;
    zentara_text qa_collector;
    zentara_text production_schemas;
    zentara_text qa_schemas;
    /// A PEM file of the authorities to trust instead of the system's; empty for the system's.
    zentara_text certificate_authority_file;
} zentara_endpoints;

/// Replaces the endpoints of the process. Each must be an http or https URL.
ZENTARA_EXPORT zentara_status zentara_use_endpoints(const zentara_endpoints* endpoints)
    ZENTARA_NOEXCEPT;

// Settings.

/// Selects the collector and the schemas service.
typedef int32_t zentara_environment;
enum {
    ZENTARA_ENVIRONMENT_PRODUCTION = 0,
    ZENTARA_ENVIRONMENT_QA = 1,
};

/// How queued events are delivered. As `ZENTARA_INIT` makes it: ten events every ten seconds, each
/// post on a connection of its own. The members are those of `DeliveryPolicy` in C++.
typedef struct zentara_delivery_policy {
    size_t size;
    int64_t largest_body_size;  ///< in bytes before compression; 0 is no limit
    bool continue_at_once;      ///< the next batch without waiting, while events are left
    bool compress_bodies;       ///< gzip
    bool back_off;           ///< after 429 and 5xx, for the time of "Retry-After" or a growing one
    bool isolate_refused;    ///< after 400, 413 and 422; see `zentara_retry_refused`
    bool reuse_connections;  ///< many posts on one connection
    bool reserved[3];        ///< false; room for members to come
} zentara_delivery_policy;

/// Configures the process. Called again, it replaces everything. An absent tenant is empty, an
/// absent advertising id is none, a null `delivery` is the default.
ZENTARA_EXPORT zentara_status zentara_use_settings(
    zentara_text tenant, zentara_environment environment, zentara_text advertising_id,
    const zentara_delivery_policy* delivery) ZENTARA_NOEXCEPT;

/// Sets the schemas that the application brings: a table as the schemas service answers it. A
/// client that is built later begins with it unless there is a cache of schemas, and replaces it by
/// the first fetch. A text that is no table is reported as `schemas_failure`. Absent: none. Borrows
/// the text, which must not change until the process ends.
ZENTARA_EXPORT zentara_status zentara_set_bundled_schemas(zentara_text table) ZENTARA_NOEXCEPT;

/// Whether there are settings.
ZENTARA_EXPORT bool zentara_is_configured(void) ZENTARA_NOEXCEPT;

// Values.

/// A JSON value that belongs to an event or to properties, and lives as long as these.
typedef struct zentara_value zentara_value;

typedef int32_t zentara_value_kind;
enum {
    ZENTARA_VALUE_NULL = 0,
    ZENTARA_VALUE_BOOLEAN = 1,
    ZENTARA_VALUE_INTEGER = 2,
    ZENTARA_VALUE_UNSIGNED_INTEGER = 3,  ///< too large for a signed integer
    ZENTARA_VALUE_NUMBER = 4,            ///< a double
    ZENTARA_VALUE_TEXT = 5,
    ZENTARA_VALUE_ARRAY = 6,
    ZENTARA_VALUE_OBJECT = 7,
};

/// The content of a value. The kind tells which member holds it.
typedef struct zentara_value_view {
    zentara_value_kind kind;
    union {
        bool boolean;
        int64_t integer;
        uint64_t unsigned_integer;
        double number;
        zentara_text text;
        size_t count;  ///< of the elements of an array, or of the members of an object
    };
} zentara_value_view;

/// Null for a null pointer.
ZENTARA_EXPORT zentara_value_view zentara_value_look(const zentara_value* value) ZENTARA_NOEXCEPT;
/// The element at `index`; null if there is none, and if `array` is no array.
ZENTARA_EXPORT const zentara_value* zentara_value_element(const zentara_value* array,
                                                          size_t index) ZENTARA_NOEXCEPT;
/// The value of the member at `index`, and its key, unless `key` is null; null if there is none.
ZENTARA_EXPORT const zentara_value* zentara_value_member(const zentara_value* object, size_t index,
                                                         zentara_text* key) ZENTARA_NOEXCEPT;
/// The value of the member with this key; null if there is none.
ZENTARA_EXPORT const zentara_value* zentara_value_find(const zentara_value* object,
                                                       zentara_text key) ZENTARA_NOEXCEPT;
/// The compact JSON text. Valid until the next call of this function on this thread.
ZENTARA_EXPORT zentara_text zentara_value_json(const zentara_value* value) ZENTARA_NOEXCEPT;

/// The properties of an event under construction: a JSON object. For one thread at a time.
///
/// ```c
/// zentara_properties* properties = zentara_properties_make();
/// zentara_properties_put_text(properties, zentara_text_of("title"), zentara_text_of("Home"));
/// zentara_properties_open_array(properties, zentara_text_of("tags"));
/// zentara_properties_put_text(properties, zentara_text_of(NULL), zentara_text_of("news"));
/// zentara_properties_close(properties);
/// ```
typedef struct zentara_properties zentara_properties;

/// Without members.
ZENTARA_EXPORT zentara_properties* zentara_properties_make(void) ZENTARA_NOEXCEPT;
/// With the members of a JSON object.
ZENTARA_EXPORT zentara_properties* zentara_properties_make_from_json(zentara_text json)
    ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_properties* zentara_properties_copy(const zentara_properties* properties)
    ZENTARA_NOEXCEPT;
ZENTARA_EXPORT void zentara_properties_release(zentara_properties* properties) ZENTARA_NOEXCEPT;

// These put a value into the container that was opened last, or into the object itself. Of equal
// keys the last gives the value. In an array the key is ignored and may be absent; in an object an
// absent key stands for that of `zentara_properties_set_key`.
ZENTARA_EXPORT zentara_status zentara_properties_put_null(zentara_properties* properties,
                                                          zentara_text key) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_properties_put_boolean(zentara_properties* properties,
                                                             zentara_text key,
                                                             bool value) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_properties_put_integer(zentara_properties* properties,
                                                             zentara_text key,
                                                             int64_t value) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_properties_put_unsigned_integer(
    zentara_properties* properties, zentara_text key, uint64_t value) ZENTARA_NOEXCEPT;
/// An event with NaN or an infinity is refused when it is sent.
ZENTARA_EXPORT zentara_status zentara_properties_put_number(zentara_properties* properties,
                                                            zentara_text key,
                                                            double value) ZENTARA_NOEXCEPT;
/// An absent text is empty.
ZENTARA_EXPORT zentara_status zentara_properties_put_text(zentara_properties* properties,
                                                          zentara_text key,
                                                          zentara_text value) ZENTARA_NOEXCEPT;
/// A value of any kind, as JSON text.
ZENTARA_EXPORT zentara_status zentara_properties_put_json(zentara_properties* properties,
                                                          zentara_text key,
                                                          zentara_text json) ZENTARA_NOEXCEPT;

/// Opens an array or an object. The values that follow go into it, until it is closed.
ZENTARA_EXPORT zentara_status zentara_properties_open_array(zentara_properties* properties,
                                                            zentara_text key) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_properties_open_object(zentara_properties* properties,
                                                             zentara_text key) ZENTARA_NOEXCEPT;
/// Closes what was opened last.
ZENTARA_EXPORT zentara_status zentara_properties_close(zentara_properties* properties)
    ZENTARA_NOEXCEPT;

/// The key of the next value that comes without one; for walks over data of unknown shape.
ZENTARA_EXPORT zentara_status zentara_properties_set_key(zentara_properties* properties,
                                                         zentara_text key) ZENTARA_NOEXCEPT;
/// Removes a member of the object itself, if there is one.
ZENTARA_EXPORT zentara_status zentara_properties_remove(zentara_properties* properties,
                                                        zentara_text key) ZENTARA_NOEXCEPT;
/// Replaces all members by those of a JSON object, and closes what is open.
ZENTARA_EXPORT zentara_status zentara_properties_replace_json(zentara_properties* properties,
                                                              zentara_text json) ZENTARA_NOEXCEPT;
/// The object, without what is not closed yet. Valid until the properties change.
ZENTARA_EXPORT const zentara_value* zentara_properties_value(const zentara_properties* properties)
    ZENTARA_NOEXCEPT;

// Errors.

/// The failure that a callback receives. Immutable.
typedef struct zentara_error zentara_error;

/// The classes of errors of the C++ interface.
typedef int32_t zentara_error_kind;
enum {
    ZENTARA_ERROR_NONE = 0,  ///< of a null pointer: success
    ZENTARA_ERROR_NOT_INITIALIZED = 1,
    ZENTARA_ERROR_NOT_READY = 2,     ///< held back until the schemas are there
    ZENTARA_ERROR_INVALID_DATA = 3,  ///< refused by its schema
    ZENTARA_ERROR_UNKNOWN = 4,       ///< there is no such schema
    ZENTARA_ERROR_NOT_QUEUED = 5,
    ZENTARA_ERROR_CONSENT_DENIED = 6,
    ZENTARA_ERROR_EVENT_DROPPED = 7,  ///< by `zentara_set_before_queue`
    ZENTARA_ERROR_BEFORE_QUEUE = 8,   ///< refused by `zentara_set_before_queue`
    ZENTARA_ERROR_SHUT_DOWN = 9,
    ZENTARA_ERROR_SCHEMAS = 10,  ///< the schemas could not be obtained
    ZENTARA_ERROR_OTHER = 11,
};

// Texts live as long as the error.
ZENTARA_EXPORT zentara_error_kind zentara_error_kind_of(const zentara_error* error)
    ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_text zentara_error_domain(const zentara_error* error) ZENTARA_NOEXCEPT;
/// The code of the error, which several kinds share; -1 for null.
ZENTARA_EXPORT int64_t zentara_error_code(const zentara_error* error) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_text zentara_error_message(const zentara_error* error) ZENTARA_NOEXCEPT;

/// Another reference to the same error.
ZENTARA_EXPORT zentara_error* zentara_error_copy(const zentara_error* error) ZENTARA_NOEXCEPT;
/// An error of any kind but the first and the last, for bindings. Kinds without a detail ignore it.
ZENTARA_EXPORT zentara_error* zentara_error_make(zentara_error_kind kind,
                                                 zentara_text detail) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT void zentara_error_release(zentara_error* error) ZENTARA_NOEXCEPT;

// Events.

/// An event, immutable.
typedef struct zentara_event zentara_event;

/// An event to be made or sent.
typedef struct zentara_event_draft {
    size_t size;
    zentara_text schema_id;        ///< must be there
    zentara_text schema_version;   ///< must be there
    zentara_text content_type;     ///< absent: "application/json"
    zentara_text url;              ///< absent: empty
    zentara_text referer;          ///< absent: empty
    zentara_text relation_id;      ///< absent: none
    zentara_text properties_json;  ///< a JSON object; absent: none, or those of `properties`
    /// Null, or instead of `properties_json`. Copied, but taken over by functions with `_take`.
    zentara_properties* properties;
} zentara_event_draft;

/// An event with these values, to be sent later with others.
ZENTARA_EXPORT zentara_event* zentara_event_make(const zentara_event_draft* draft) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_event* zentara_event_make_take(const zentara_event_draft* draft)
    ZENTARA_NOEXCEPT;
/// Another reference to the same event.
ZENTARA_EXPORT zentara_event* zentara_event_copy(const zentara_event* event) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT void zentara_event_release(zentara_event* event) ZENTARA_NOEXCEPT;

/// The texts of the event in `draft`, a record with its size; they live as long as the event. Sets
/// neither of the properties.
ZENTARA_EXPORT zentara_status zentara_event_read(const zentara_event* event,
                                                 zentara_event_draft* draft) ZENTARA_NOEXCEPT;
/// Lives as long as the event.
ZENTARA_EXPORT const zentara_value* zentara_event_properties(const zentara_event* event)
    ZENTARA_NOEXCEPT;

// Clients.

/// A client. Where a function takes one, null stands for the shared client, and for one that is
/// built if there is none.
typedef struct zentara_client zentara_client;

/// `error` is null when the library is ready.
typedef void (*zentara_ready_callback)(void* context, const zentara_error* error);
/// `error` is null when the event is queued and on disk.
typedef void (*zentara_send_handler)(void* context, const zentara_event* event,
                                     const zentara_error* error);
/// Without a token, the texts are empty, and `public_value` is absent.
typedef void (*zentara_anonymous_user_callback)(void* context, zentara_text type,
                                                zentara_text value, zentara_text public_value);
typedef void (*zentara_hsid_callback)(void* context, zentara_text hsid);

/// What a background fetch achieved.
typedef int32_t zentara_fetch_result;
enum {
    ZENTARA_FETCH_NEW_DATA = 0,  ///< all events that were taken from the queue were delivered
    ZENTARA_FETCH_NO_DATA = 1,   ///< the queue was empty
    ZENTARA_FETCH_FAILED = 2,
};
typedef void (*zentara_fetch_callback)(void* context, zentara_fetch_result result);

/// Builds the client of this process, unless there is one. `client`, unless it is null, receives a
/// reference to be released, or null on failure. `ready` is called each time schemas arrive or
/// could not be obtained, on a worker, with schemas in the cache before this returns; at once if
/// there is a client already. `ZENTARA_NOT_CONFIGURED` before the settings.
ZENTARA_EXPORT zentara_status zentara_get(zentara_ready_callback ready, void* context,
                                          void (*release)(void* context),
                                          zentara_client** client) ZENTARA_NOEXCEPT;

/// The shared client; null if there is none, which is no failure.
ZENTARA_EXPORT zentara_client* zentara_shared_client_copy(void) ZENTARA_NOEXCEPT;
/// Another reference to the same client; of the shared one for null, or null if there is none.
ZENTARA_EXPORT zentara_client* zentara_client_copy(const zentara_client* client) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT void zentara_client_release(zentara_client* client) ZENTARA_NOEXCEPT;
/// Shares this client; with null, the next `zentara_get` builds another.
ZENTARA_EXPORT zentara_status zentara_share_client(const zentara_client* client) ZENTARA_NOEXCEPT;

/// Whether events are validated and queued when sent. Until then they are held back, on disk.
ZENTARA_EXPORT bool zentara_is_ready(void) ZENTARA_NOEXCEPT;
/// Sets it until the next report of the schemas.
ZENTARA_EXPORT void zentara_set_ready(bool ready) ZENTARA_NOEXCEPT;

/// Validates, stamps and queues one event. `handler` is called exactly once if the result is
/// `ZENTARA_OK`, otherwise not at all; on this thread, before this returns. Its event has an empty
/// referer. Before the settings it receives `ZENTARA_ERROR_NOT_INITIALIZED`, in a forked child
/// `ZENTARA_ERROR_NOT_QUEUED`, after the shutdown, through a client from before,
/// `ZENTARA_ERROR_SHUT_DOWN`.
ZENTARA_EXPORT zentara_status zentara_send(const zentara_client* client,
                                           const zentara_event_draft* draft,
                                           zentara_send_handler handler, void* context,
                                           void (*release)(void* context)) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_send_take(const zentara_client* client,
                                                const zentara_event_draft* draft,
                                                zentara_send_handler handler, void* context,
                                                void (*release)(void* context)) ZENTARA_NOEXCEPT;

/// Sends an event with its own relation id.
ZENTARA_EXPORT zentara_status zentara_send_event(const zentara_client* client,
                                                 const zentara_event* event,
                                                 zentara_send_handler handler, void* context,
                                                 void (*release)(void* context)) ZENTARA_NOEXCEPT;
/// Sends `count` events in order, with `relation_id` in place of their own, also when it is absent.
/// `handler` is called for each. Null events are skipped; with an invalid one none is sent.
ZENTARA_EXPORT zentara_status zentara_send_events(const zentara_client* client,
                                                  const zentara_event* const* events, size_t count,
                                                  zentara_text relation_id,
                                                  zentara_send_handler handler, void* context,
                                                  void (*release)(void* context)) ZENTARA_NOEXCEPT;

/// Starts a new context: the events sent from now on carry another context id.
ZENTARA_EXPORT zentara_status zentara_new_context_id(const zentara_client* client) ZENTARA_NOEXCEPT;
/// The current context id, a UUID in lower case. Valid until the next call on this thread.
ZENTARA_EXPORT zentara_text zentara_context_id(const zentara_client* client) ZENTARA_NOEXCEPT;

/// Sets the advertising id, or removes it if it is absent. Nothing happens without settings.
ZENTARA_EXPORT zentara_status zentara_set_advertising_id(
    const zentara_client* client, zentara_text advertising_id) ZENTARA_NOEXCEPT;

/// The kinds of token that a logged-in user can have.
typedef int32_t zentara_user_token_type;
enum {
    ZENTARA_USER_QVN_ID = 0,       ///< "QVNID"
    ZENTARA_USER_GUEST = 1,        ///< "GST"
    ZENTARA_USER_EXTERNAL_ID = 2,  ///< "EXT_ID"
};

/// Sets the user whose token goes with the events sent from now on. Builds the client if needed.
/// Does nothing while consent is denied, and returns `ZENTARA_OK`.
ZENTARA_EXPORT zentara_status zentara_set_logged_user(zentara_user_token_type type,
                                                      zentara_text token) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_remove_logged_user(void) ZENTARA_NOEXCEPT;

/// Reports the anonymous token that is stored, before it returns.
ZENTARA_EXPORT zentara_status
zentara_get_anonymous_user(zentara_anonymous_user_callback callback, void* context,
                           void (*release)(void* context)) ZENTARA_NOEXCEPT;
/// Fetches the identity and reports the session token that came with it, on a worker: empty when
/// the fetch failed; not at all when it succeeded without one.
ZENTARA_EXPORT zentara_status zentara_get_hsid(zentara_hsid_callback callback, void* context,
                                               void (*release)(void* context)) ZENTARA_NOEXCEPT;
/// Delivers up to ten queued events now. The completion comes on a worker, or before this returns.
ZENTARA_EXPORT zentara_status zentara_perform_fetch(zentara_fetch_callback completion,
                                                    void* context, void (*release)(void* context))
    ZENTARA_NOEXCEPT;

// Delivery on demand.

typedef int32_t zentara_flush_outcome;
enum {
    ZENTARA_FLUSH_EMPTY = 0,     ///< nothing is left but events that were passed over
    ZENTARA_FLUSH_FAILED = 1,    ///< a batch was not delivered
    ZENTARA_FLUSH_DEADLINE = 2,  ///< the deadline came first
    ZENTARA_FLUSH_REFUSED = 3,   ///< wrong use
};

/// What a flush achieved.
typedef struct zentara_flush_result {
    size_t size;
    zentara_flush_outcome outcome;
    int64_t delivered;          ///< events that the collector has acknowledged during the flush
    int64_t waiting;            ///< events left in the queue, passed over or in flight included
    int64_t held_back;          ///< events that still wait for their schemas
    zentara_text last_failure;  ///< in words; empty when no batch failed
} zentara_flush_result;

typedef void (*zentara_flush_callback)(void* context, const zentara_flush_result* result);

/// Delivers batch after batch until the queue is empty, a batch fails, or `deadline` milliseconds
/// have passed; a negative deadline counts as 0. Held-back events that the schemas allow by now are
/// queued first. The completion is called exactly once, on a worker. Without an identity, first
/// waits for one attempt to fetch it. Where nothing can be posted, the flush of a queue that is not
/// empty fails at once.
ZENTARA_EXPORT zentara_status zentara_flush(int64_t deadline, zentara_flush_callback completion,
                                            void* context,
                                            void (*release)(void* context)) ZENTARA_NOEXCEPT;
/// The same, and waits for it, a second longer than `deadline` at most. In a callback, whose return
/// the completion would wait for, it does nothing: the outcome is `ZENTARA_FLUSH_REFUSED`. While
/// the process exits, it does not wait for the deadline: the outcome is `ZENTARA_FLUSH_DEADLINE`.
/// `result` may be null; its text is valid until the next call on this thread.
ZENTARA_EXPORT zentara_status zentara_flush_and_wait(int64_t deadline,
                                                     zentara_flush_result* result) ZENTARA_NOEXCEPT;

/// Ends the library's work: refuses events from now on, flushes until `deadline` milliseconds have
/// passed, and forgets the callbacks of the host. `zentara_get` builds anew, with the same
/// settings; until then other calls that build a client return `ZENTARA_NOT_CONFIGURED`. When it
/// returns, no callback runs and each context is released, unless a callback has not returned by
/// then: the outcome is then `ZENTARA_FLUSH_DEADLINE`. May be called twice, by several threads, and
/// while the process exits. In a callback it does nothing: the outcome is `ZENTARA_FLUSH_REFUSED`.
/// `result` may be null; its text is valid until the next call on this thread.
ZENTARA_EXPORT zentara_status zentara_shutdown(int64_t deadline,
                                               zentara_flush_result* result) ZENTARA_NOEXCEPT;

/// Posts no events until `zentara_resume_delivery`, in this process. Events are queued.
ZENTARA_EXPORT void zentara_pause_delivery(void) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT void zentara_resume_delivery(void) ZENTARA_NOEXCEPT;
/// Posts those events again that were passed over because the collector refused them alone.
ZENTARA_EXPORT void zentara_retry_refused(void) ZENTARA_NOEXCEPT;

// The user's will.

typedef int32_t zentara_consent;
enum {
    ZENTARA_CONSENT_GRANTED = 0,
    ZENTARA_CONSENT_PENDING = 1,  ///< events are queued, and nothing leaves
    ZENTARA_CONSENT_DENIED = 2,   ///< everything of the user is removed, and events are refused
};

/// Sets what the user allows, for this process and for later starts, before it returns. To be
/// called after `zentara_set_documents_directory`; the settings need not be there.
/// `ZENTARA_FAILED`: it holds for this process, but was not stored, or something could not be
/// removed.
ZENTARA_EXPORT zentara_status zentara_set_consent(zentara_consent consent) ZENTARA_NOEXCEPT;
/// What was set last, in this run or an earlier one.
ZENTARA_EXPORT zentara_consent zentara_get_consent(void) ZENTARA_NOEXCEPT;

/// Removes the events, the identity and the logged user, and begins anew with another identity.
/// `ZENTARA_FAILED`: a file could not be removed.
ZENTARA_EXPORT zentara_status zentara_forget_user(void) ZENTARA_NOEXCEPT;

// Callbacks and values of the host, for the process. They replace what was set before, and
// `zentara_shutdown` forgets them.

typedef int32_t zentara_log_level;
enum {
    ZENTARA_LOG_INFO = 0,     ///< what became of an event
    ZENTARA_LOG_WARNING = 1,  ///< a failure that the library goes on with, and its end
    ZENTARA_LOG_FATAL = 2,    ///< the process ends
};

/// One line that the library would print.
typedef struct zentara_log_line {
    size_t size;
    zentara_log_level level;
    zentara_text component;  ///< "schemas", "identity", "delivery", "storage" or "client"
    zentara_text text;       ///< without control characters and line breaks
} zentara_log_line;

typedef void (*zentara_log_sink)(void* context, const zentara_log_line* line);

/// Hands every line of this level or above to `sink`, on a worker; with a sink nothing is printed.
/// A fatal line comes on the thread that fails, and must not call the library. Null prints again.
ZENTARA_EXPORT zentara_status zentara_set_log_sink(zentara_log_level least, zentara_log_sink sink,
                                                   void* context,
                                                   void (*release)(void* context)) ZENTARA_NOEXCEPT;
/// A sink that keeps the library silent.
ZENTARA_EXPORT void zentara_quiet_log(void* context, const zentara_log_line* line) ZENTARA_NOEXCEPT;

/// An event on its way to the queue, valid during the call that receives it.
typedef struct zentara_outgoing zentara_outgoing;

/// As it was sent, with an empty referer.
ZENTARA_EXPORT const zentara_event* zentara_outgoing_event(const zentara_outgoing* outgoing)
    ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_text zentara_outgoing_action_uuid(const zentara_outgoing* outgoing)
    ZENTARA_NOEXCEPT;
/// The properties that will be queued, merged over the global ones. They belong to the event: they
/// can be changed, but neither released nor taken over.
ZENTARA_EXPORT zentara_properties* zentara_outgoing_properties(zentara_outgoing* outgoing)
    ZENTARA_NOEXCEPT;
/// Replaces all properties; null removes them.
ZENTARA_EXPORT zentara_status zentara_outgoing_set_properties_take(
    zentara_outgoing* outgoing, zentara_properties* properties) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_text zentara_outgoing_url(const zentara_outgoing* outgoing) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_text zentara_outgoing_referer(const zentara_outgoing* outgoing)
    ZENTARA_NOEXCEPT;
/// Absent texts are empty.
ZENTARA_EXPORT zentara_status zentara_outgoing_set_url(zentara_outgoing* outgoing,
                                                       zentara_text url) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_outgoing_set_referer(zentara_outgoing* outgoing,
                                                           zentara_text referer) ZENTARA_NOEXCEPT;
/// The reason for `ZENTARA_DECISION_REFUSE`.
ZENTARA_EXPORT zentara_status zentara_outgoing_set_reason(zentara_outgoing* outgoing,
                                                          zentara_text reason) ZENTARA_NOEXCEPT;

typedef int32_t zentara_decision;
enum {
    ZENTARA_DECISION_QUEUE = 0,   ///< validate and queue the event as it is now
    ZENTARA_DECISION_DROP = 1,    ///< its handler receives `ZENTARA_ERROR_EVENT_DROPPED`
    ZENTARA_DECISION_REFUSE = 2,  ///< its handler receives `ZENTARA_ERROR_BEFORE_QUEUE`
};
typedef zentara_decision (*zentara_before_queue)(void* context, zentara_outgoing* outgoing);

/// Sets the function that sees each event before it is queued, on the thread that sends it; several
/// threads call it at once. An event with an unknown decision is dropped. An event with an array or
/// object of its properties still open is refused. Null removes the function.
ZENTARA_EXPORT zentara_status zentara_set_before_queue(
    zentara_before_queue function, void* context, void (*release)(void* context)) ZENTARA_NOEXCEPT;

/// Sets the properties that every event gets, unless it has one of that name itself. Null removes
/// them.
ZENTARA_EXPORT zentara_status zentara_set_global_properties(const zentara_properties* properties)
    ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_set_global_properties_take(zentara_properties* properties)
    ZENTARA_NOEXCEPT;

typedef int32_t zentara_delivery_kind;
enum {
    ZENTARA_DELIVERY_DELIVERED = 0,
    ZENTARA_DELIVERY_EVICTED = 1,  ///< the oldest of too many
    ZENTARA_DELIVERY_DROPPED = 2,  ///< refused by its schema, or removed at the user's will
    ZENTARA_DELIVERY_REFUSED = 3,  ///< refused by the collector while alone, and passed over
};

/// What became of some events after they were sent.
typedef struct zentara_delivery_notice {
    size_t size;
    zentara_delivery_kind kind;
    size_t count;                      ///< of the events
    const zentara_text* action_uuids;  ///< in the order of the queue, lower case
    zentara_text reason;               ///< in words; empty for delivered events
} zentara_delivery_notice;

typedef void (*zentara_delivery_observer)(void* context, const zentara_delivery_notice* notice);

/// Sets the function that is told what becomes of events, on a worker. Null removes it.
ZENTARA_EXPORT zentara_status
zentara_set_delivery_observer(zentara_delivery_observer observer, void* context,
                              void (*release)(void* context)) ZENTARA_NOEXCEPT;

typedef int32_t zentara_validation_outcome;
enum {
    ZENTARA_VALIDATION_VALID = 0,
    ZENTARA_VALIDATION_INVALID = 1,
    ZENTARA_VALIDATION_UNKNOWN_SCHEMA = 2,
    ZENTARA_VALIDATION_NOT_READY = 3,  ///< the schemas have not arrived yet
};

/// What the schema says of properties that were not sent.
typedef struct zentara_validation_report {
    size_t size;
    zentara_validation_outcome outcome;
    size_t count;                  ///< of the messages
    const zentara_text* messages;  ///< valid until the next call on this thread
} zentara_validation_report;

/// What `zentara_send` would say of the draft's properties. Sends nothing, counts nothing, and
/// calls no callback.
ZENTARA_EXPORT zentara_status zentara_validate(const zentara_client* client,
                                               const zentara_event_draft* draft,
                                               zentara_validation_report* report) ZENTARA_NOEXCEPT;

/// For development builds: with true, an event that its schema refuses ends the process.
ZENTARA_EXPORT void zentara_set_fail_fast(bool enabled) ZENTARA_NOEXCEPT;
/// Starts a new context with the next event when nothing was sent for this many seconds; not with 0
/// or less.
ZENTARA_EXPORT void zentara_set_session_timeout(int64_t seconds) ZENTARA_NOEXCEPT;

// Statistics.

/// The last failure of a part of the library.
typedef struct zentara_failure {
    zentara_text text;  ///< in words; empty while nothing has failed
    int64_t time;       ///< in milliseconds since 1970-01-01 UTC; 0 without one
    int64_t in_a_row;   ///< failures since the last success
} zentara_failure;

/// What became of the events of this process. `ZentaraClientStatistics` in C++ says how the counts
/// balance.
typedef struct zentara_statistics {
    size_t size;

    int64_t accepted;  ///< valid, queued and on disk
    int64_t held_back;
    int64_t not_saved;
    int64_t held_back_not_saved;
    int64_t refused_not_initialized;
    int64_t refused_invalid;
    int64_t refused_unknown_schema;
    int64_t refused_not_encodable;
    int64_t refused_consent;
    int64_t refused_shut_down;
    int64_t refused_by_hook;
    int64_t dropped_by_hook;

    int64_t released;  ///< of the held-back events, those moved to the queue
    int64_t dropped_invalid;
    int64_t dropped_unknown_schema;
    int64_t held_back_evicted;
    int64_t held_back_discarded;

    int64_t delivered;
    int64_t evicted;
    int64_t discarded;
    int64_t batches_delivered;
    int64_t batches_failed;

    int64_t restored;
    int64_t held_back_restored;

    int64_t waiting;  ///< now
    int64_t in_flight;
    int64_t passed_over;
    int64_t held_back_waiting;

    zentara_failure schemas_failure;
    zentara_failure identity_failure;
    zentara_failure delivery_failure;
    zentara_failure storage_failure;
} zentara_statistics;

/// Fills the record. Its texts are valid until the next call on this thread.
ZENTARA_EXPORT zentara_status zentara_read_statistics(zentara_statistics* statistics)
    ZENTARA_NOEXCEPT;

// By name, for bindings, which then need not know the record.

/// The size of the whole record.
ZENTARA_EXPORT size_t zentara_statistics_size(void) ZENTARA_NOEXCEPT;
/// The name of a count, such as "held_back", or of a failure, such as "schemas_failure"; null from
/// the last index on.
ZENTARA_EXPORT const char* zentara_count_name(size_t index) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT const char* zentara_failure_name(size_t index) ZENTARA_NOEXCEPT;
/// The count or the failure of this name in a record that was read. An unknown name is
/// `ZENTARA_INVALID_ARGUMENT`.
ZENTARA_EXPORT zentara_status zentara_count_of(const zentara_statistics* statistics,
                                               zentara_text name, int64_t* count) ZENTARA_NOEXCEPT;
ZENTARA_EXPORT zentara_status zentara_failure_of(const zentara_statistics* statistics,
                                                 zentara_text name,
                                                 zentara_failure* failure) ZENTARA_NOEXCEPT;

#if defined(__cplusplus)
}
#endif
