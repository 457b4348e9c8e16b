#pragma once

#import <zentara/QVNZentaraClient.h>

#include "facade/objc/Bridge.h"

// Texts and values, from Foundation's objects to the library's and back.

/// The string as UTF-8, valid as long as the autorelease pool. Lone surrogates become U+FFFD.
/// Raises what the string raises.
ZentaraText zentaraText(NSString *string);

/// The same, and an absent text for nil.
ZentaraText zentaraOptionalText(NSString *string);

/// The text as an autoreleased string, @"" for an absent text.
NSString *zentaraString(ZentaraText text);

/// The same, and nil for an absent text.
NSString *zentaraOptionalString(ZentaraText text);

/// Adds the dictionary to the builder as one object. Returns nil, or why JSON cannot hold it: then
/// the builder can only be discarded. Sets `flaw` to the reason if JSON can hold the dictionary but
/// the queue will not take it. Raises what the application's objects raise.
NSString *zentaraAddDictionary(ZentaraBuilder *builder, NSDictionary *dictionary, NSString **flaw);

/// The object as an autoreleased dictionary, immutable at every depth.
NSDictionary *zentaraDictionary(const ZentaraValue *object);

// Events and errors between the application and the bridge.

/// The converted arguments of an event. Its objects live as long as the autorelease pool.
typedef struct EventInput {
    ZentaraEventTexts texts;
    ZentaraBuilder *properties;  ///< null for none; to be given to an event, or discarded
    id url;
    id referer;
    NSString *flaw;               ///< why the queue will not take the event, or nil
    NSString *refusal;            ///< why JSON cannot hold the event, or nil
    NSDictionary *ownProperties;  ///< of a refused event: a copy of the application's
} EventInput;

/// Never raises: an exception of the application's objects becomes the refusal.
EventInput zentaraConvertEvent(id schemaId, id schemaVersion, id contentType, id url, id referer,
                               id properties, id relationId);

/// The text of an argument that must be a string; the empty text for nil. For another object,
/// returns the empty text and sets `refusal` to the reason, unless it is set.
ZentaraText zentaraArgument(id value, NSString *name, NSString **refusal);

/// An autoreleased object for `event`, with the objects, the flaw and the refusal of `input`. Takes
/// `event` over.
QVNEvent *zentaraEventObject(ZentaraEvent *event, const EventInput *input);

@interface QVNEvent (Internal)

/// Null in an object that was not initialised.
- (const ZentaraEvent *)handle;
- (NSString *)flaw;
- (NSString *)refusal;

@end

/// The same error as an autoreleased object of the class for its kind; nil for null.
QVNZentaraClientError *zentaraErrorObject(const ZentaraError *error);

// Calls of the application's code.

/// Runs code of the application with an autorelease pool. Catches its exceptions and writes a line
/// to standard error that names `where`.
void zentaraCallHost(const char *where, void (^code)(void));

/// Name and reason of an exception, or the class of another object that was raised.
NSString *zentaraDescriptionOfException(id exception);

/// Writes the text as one line to standard error.
void zentaraWarnWith(NSString *text);

/// A copy of the block, which may be nil, for the library to keep.
ZentaraHeld zentaraHeldBlock(id block);

/// The object, retained until the library releases it.
ZentaraHeld zentaraHeldObject(id object);

/// The handler of one send.
typedef struct SendHandler {
    id block;  ///< a copy of the application's, which may be nil
    id url;    ///< the url of the event that the block receives
} SendHandler;

/// Releases the block.
void zentaraEndSend(SendHandler *handler);

/// Writes to standard error why an event is not queued.
void zentaraWarnNotQueued(ZentaraText schemaId, NSString *reason);

/// Refuses an event that cannot be sent: calls the handler, and writes the reason to standard
/// error.
void zentaraRefuse(const ZentaraClientHandle *client, const SendHandler *handler,
                   const ZentaraEventTexts *texts, NSDictionary *properties, NSString *reason);

// What differs between Objective-C runtimes, implemented in `gnustep/` and in `modern/`.

/// A copy of the block, which may be nil, on the heap, to be released with `zentaraReleaseBlock`.
/// Does not depend on the Blocks runtime that the application was linked with.
id zentaraCopyBlock(id block);
void zentaraReleaseBlock(id block);

// A table of all client objects, by the identity of their clients, so that a client never has two
// objects. The table does not retain them.

/// The object of the client, retained. Without one, `make` makes it, retained.
QVNZentaraClient *zentaraClientObject(const void *identity, QVNZentaraClient * (^make)(void));
