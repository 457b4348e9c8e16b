#pragma once

#import <Foundation/Foundation.h>

#include "facade/objc/Bridge.h"

// Calls of the application's code, and what the library keeps for it.

/// Runs code of the application with an autorelease pool. An exception that it raises ends here, as
/// a line on standard error that names `where`.
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

SendHandler zentaraBeginSend(id handler);
void zentaraEndSend(SendHandler *handler);

/// The parameter `call` of a send, with the handler as its `context`.
ZentaraSendCall zentaraSendCall(const SendHandler *handler);

/// Writes to standard error why an event is not queued.
void zentaraWarnNotQueued(ZentaraText schemaId, NSString *reason);

/// Refuses an event that cannot be sent: calls the handler, and writes the reason to standard
/// error.
void zentaraRefuse(const ZentaraClientHandle *client, const SendHandler *handler,
                   const ZentaraEventTexts *texts, NSDictionary *properties, NSString *reason);

// The library's calls of the application's blocks.
void zentaraCallReady(void *block, const ZentaraError *error);
void zentaraCallAnonymousUser(void *block, ZentaraText type, ZentaraText value,
                              ZentaraText publicValue);
void zentaraCallHsid(void *block, ZentaraText hsid);
void zentaraCallFetch(void *block, uint64_t result);
