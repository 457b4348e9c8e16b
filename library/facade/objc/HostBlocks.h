#pragma once

#import <Foundation/Foundation.h>

#include "facade/objc/ClientBridge.h"
#import "facade/objc/EventInput.h"

/// A copy of the block, nil included, for the library to keep and to let go of.
ZentaraHeld zentaraHeldBlock(id block);

/// The object, retained until the library lets go of it.
ZentaraHeld zentaraHeldObject(id object);

/// The handler of one send. Made with a copy of the application's block, to be ended after the
/// send.
typedef struct SendHandler {
    id block;
    id url;  ///< the object that the event which comes back has for its url
} SendHandler;

SendHandler zentaraBeginSend(id handler);
void zentaraEndSend(SendHandler *handler);

/// Whether the library needs to call at all, for the parameters `context` and `call` of a send.
ZentaraSendCall zentaraSendCall(const SendHandler *handler);

/// Says on standard error why an event is not queued.
void zentaraWarnNotQueued(ZentaraText schemaId, NSString *reason);

/// Tells the application's handler that the event will not be sent, and standard error why.
void zentaraRefuse(const ZentaraClientHandle *client, const SendHandler *handler,
                   const ZentaraEventTexts *texts, NSDictionary *properties, NSString *reason);

// The library's calls of the application's blocks.
void zentaraCallReady(void *block, const ZentaraError *error);
void zentaraCallAnonymousUser(void *block, ZentaraText type, ZentaraText value,
                              ZentaraText publicValue);
void zentaraCallHsid(void *block, ZentaraText hsid);
void zentaraCallFetch(void *block, uint64_t result);
