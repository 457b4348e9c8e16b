#pragma once

#import <zentara/QVNZentaraClient.h>

#include "c/ErrorKinds.h"
#include "facade/objc/Bridge.h"

// Texts and values, from Foundation's objects to the library's and back.

/// The string as UTF-8, valid as long as the autorelease pool. Lone surrogates become U+FFFD.
/// Raises what the string raises.
zentara_text zentaraText(NSString *string);

/// The same, and an absent text for nil.
zentara_text zentaraOptionalText(NSString *string);

/// The text as an autoreleased string, @"" for an absent text.
NSString *zentaraString(zentara_text text);

/// The same, and nil for an absent text.
NSString *zentaraOptionalString(zentara_text text);

/// Puts the dictionary's members into the properties. Returns nil, or why JSON cannot hold it: then
/// the properties can only be released. Sets `flaw` to the reason if JSON can hold the dictionary
/// but the queue will not take it. Raises what the application's objects raise.
NSString *zentaraAddDictionary(zentara_properties *properties, NSDictionary *dictionary,
                               NSString **flaw);

/// The object as an autoreleased dictionary, immutable at every depth.
NSDictionary *zentaraDictionary(const zentara_value *object);

NSArray<NSString *> *zentaraStrings(const zentara_text *texts, size_t count);

/// The seconds in milliseconds, 0 for less than that.
int64_t zentaraMilliseconds(NSTimeInterval seconds);

// Events and errors between the application and the bridge.

/// The converted arguments of an event. Its objects live as long as the autorelease pool.
typedef struct EventInput {
    zentara_event_draft draft;  ///< its properties are to be given to an event, or released
    id url;
    id referer;
    NSString *flaw;               ///< why the queue will not take the event, or nil
    NSString *refusal;            ///< why JSON cannot hold the event, or nil
    NSDictionary *ownProperties;  ///< of a refused event: a copy of the application's
} EventInput;

/// The dictionary as properties, null for nil. Sets `refusal`, unless it is set, if JSON cannot
/// hold it. Sets `isUnreadable` if it raises an exception: it must not be read again.
zentara_properties *zentaraConvertProperties(id dictionary, NSString **flaw, NSString **refusal,
                                             bool *isUnreadable);

/// Never raises: an exception of the application's objects becomes the refusal.
EventInput zentaraConvertEvent(id schemaId, id schemaVersion, id contentType, id url, id referer,
                               id properties, id relationId);

/// The text of an argument that must be a string; the empty text for nil. For another object,
/// returns the empty text and sets `refusal` to the reason, unless it is set.
zentara_text zentaraArgument(id value, NSString *name, NSString **refusal);

/// An autoreleased object for `event`, with the objects, the flaw and the refusal of `input`. Takes
/// `event` over.
QVNEvent *zentaraEventObject(zentara_event *event, const EventInput *input);

/// The texts of an event; all are absent for null.
zentara_event_draft zentaraTextsOf(const zentara_event *event);

@interface QVNEvent (Internal)

/// Null in an object that was not initialised.
- (const zentara_event *)handle;
- (NSString *)flaw;
- (NSString *)refusal;

@end

/// The object if it is an event, otherwise nil. Never raises.
QVNEvent *zentaraEventIn(id object);

@interface QVNZentaraClient (Internal)

/// Takes the handle over.
- (instancetype)initWithHandle:(zentara_client *)handle;
/// A fatal error in an object that was not initialised.
- (const zentara_client *)clientHandle;
/// Sends the elements of an array, which need not be events.
- (void)sendElements:(NSArray *)elements
          relationId:(zentara_text)relationId
             refusal:(NSString *)refusal
             handler:(void (^)(QVNEvent *, QVNZentaraClientError *))block;

@end

/// Raises `NSInvalidArgumentException` for a call of the method.
__attribute__((noreturn)) void zentaraRaise(SEL method, NSString *reason);

/// Implements `useSettingsWithTenant:...`; raises for the method.
void zentaraUseSettings(id tenant, NSInteger environment, id advertisingId,
                        const zentara_delivery_policy *delivery, SEL method);

/// The same error as an autoreleased object of the class for its kind; nil for null.
QVNZentaraClientError *zentaraErrorObject(const zentara_error *error);

// Calls of the application's code.

/// Runs code of the application with an autorelease pool. Catches its exceptions and writes a line
/// to the log that names `where`.
void zentaraCallHost(const char *where, void (^code)(void));

/// Name and reason of an exception, or the class of another object that was raised.
NSString *zentaraDescriptionOfException(id exception);

/// Writes the text as one line to the log.
void zentaraWarnWith(NSString *text);

/// Releases a copy of a block.
void zentaraReleaseHeldBlock(void *block);

/// The object, retained until the library releases it.
ZentaraHeld zentaraHeldObject(id object);

// Functions for the C interface, which call the application's blocks. The arguments belong to the
// caller.
void zentaraCallReady(void *block, const zentara_error *error);
void zentaraCallAnonymousUser(void *block, zentara_text type, zentara_text value,
                              zentara_text publicValue);
void zentaraCallHsid(void *block, zentara_text hsid);
void zentaraCallFetch(void *block, zentara_fetch_result result);
/// The context is a `SendHandler`.
void zentaraCallSend(void *context, const zentara_event *event, const zentara_error *error);

/// The handler of one send.
typedef struct SendHandler {
    id block;              ///< a copy of the application's, which may be nil
    id url;                ///< the url of the event that the block receives
    zentara_text urlText;  ///< the same as it is sent
} SendHandler;

/// Releases the block.
void zentaraEndSend(SendHandler *handler);

/// Writes to the log why an event is not queued.
void zentaraWarnNotQueued(zentara_text schemaId, NSString *reason);

/// Refuses an event that cannot be sent: calls the handler, and writes the reason to the log.
void zentaraRefuse(const zentara_client *client, const SendHandler *handler,
                   const zentara_event_draft *texts, NSDictionary *properties, NSString *reason);

// What differs between Objective-C runtimes, implemented in `gnustep/` and in `modern/`.

/// A copy of the block, which may be nil, on the heap, to be released with `zentaraReleaseBlock`.
/// Does not depend on the Blocks runtime that the application was linked with.
id zentaraCopyBlock(id block);
void zentaraReleaseBlock(id block);

// A table of all client objects, by the identity of their clients, so that a client never has two
// objects. The table does not retain them.

/// The object of the client, retained. Without one, `make` makes it, retained.
QVNZentaraClient *zentaraClientObject(const void *identity, QVNZentaraClient * (^make)(void));
