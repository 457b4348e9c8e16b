#pragma once

#import <Foundation/Foundation.h>

#include "facade/objc/EventBridge.h"

/// The values of an event as the application gave them, converted. Its objects live as long as the
/// autorelease pool.
typedef struct EventInput {
    ZentaraEventTexts texts;
    ZentaraBuilder *properties;  ///< null for none; to be given to an event, or discarded
    id url;
    id referer;
    NSString *flaw;                 ///< why the queue will not take these values; nil when it may
    NSString *refusal;              ///< why the library cannot be given them; nil when it can
    NSDictionary *givenProperties;  ///< a copy of the application's, when there is a refusal
} EventInput;

/// Never raises: what the application's objects raise becomes the refusal.
EventInput zentaraConvertEvent(id schemaId, id schemaVersion, id contentType, id url, id referer,
                               id properties, id relationId);

/// The text of an argument that is to be a string; the empty one for nil. When it is not a string,
/// the empty one, and `refusal`, if it is nil, becomes the reason.
ZentaraText zentaraArgument(id value, NSString *name, NSString **refusal);
