#pragma once

#import <zentara/QVNEvent.h>
#import <zentara/QVNEventError.h>

#include "facade/objc/Bridge.h"

// Events and errors between the application and the bridge.

/// The arguments that an event is made of, converted. Its objects live as long as the autorelease
/// pool.
typedef struct EventInput {
    ZentaraEventTexts texts;
    ZentaraBuilder *properties;  ///< null for none; to be given to an event, or discarded
    id url;
    id referer;
    NSString *flaw;                 ///< why the queue will not take the event, or nil
    NSString *refusal;              ///< why JSON cannot hold the event, or nil
    NSDictionary *givenProperties;  ///< of a refused event: a copy of the application's
} EventInput;

/// Never raises: an exception of the application's objects becomes the refusal.
EventInput zentaraConvertEvent(id schemaId, id schemaVersion, id contentType, id url, id referer,
                               id properties, id relationId);

/// The text of an argument that must be a string; the empty text for nil. For another object, the
/// empty text, and `refusal` becomes the reason unless it has one.
ZentaraText zentaraArgument(id value, NSString *name, NSString **refusal);

/// An autoreleased object for `event`, which it takes over, with the objects, the flaw and the
/// refusal of `input`.
QVNEvent *zentaraEventObject(ZentaraEvent *event, const EventInput *input);

@interface QVNEvent (Internal)

/// Null in an object that no initialiser has made an event.
- (const ZentaraEvent *)handle;
- (NSString *)flaw;
- (NSString *)refusal;

@end

/// The same error as an autoreleased object of the class for its kind; nil for null.
QVNZentaraClientError *zentaraErrorObject(const ZentaraError *error);

/// The answer to a call before the settings are there. Not a `ZentaraClientError`.
NSError *zentaraNotConfiguredError(void);

/// The answer to an argument that the library has no value for. Not a `ZentaraClientError`.
NSError *zentaraInvalidArgumentError(NSString *message);
