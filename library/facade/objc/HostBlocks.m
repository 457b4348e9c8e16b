#import "facade/objc/HostBlocks.h"

#import "facade/objc/BlockCopy.h"
#import "facade/objc/HostCode.h"
#import "facade/objc/QVNEvent+Internal.h"
#import "facade/objc/QVNEventError+Internal.h"
#import "facade/objc/Text.h"

// What a block holds goes with it, and may be the application's own.
static void releaseBlock(void *block) {
    zentaraCallHost("the release of a block", ^{
        zentaraReleaseBlock((id)block);
    });
}

static void releaseObject(void *object) {
    zentaraCallHost("the release of a client", ^{
        [(id)object release];
    });
}

ZentaraHeld zentaraHeldBlock(id block) {
    return (ZentaraHeld){zentaraCopyBlock(block), releaseBlock};
}

ZentaraHeld zentaraHeldObject(id object) {
    return (ZentaraHeld){[object retain], releaseObject};
}

SendHandler zentaraBeginSend(id handler) {
    return (SendHandler){.block = zentaraCopyBlock(handler)};
}

void zentaraEndSend(SendHandler *handler) {
    releaseBlock(handler->block);
}

static void tell(id block, QVNEvent *event, QVNZentaraClientError *error) {
    zentaraCallHost("the handler of an event", ^{
        ((void (^)(QVNEvent *, QVNZentaraClientError *))block)(event, error);
    });
}

static void callSend(void *context, const ZentaraEvent *event, const ZentaraError *error) {
    const SendHandler *handler = context;
    @autoreleasepool {
        tell(handler->block,
             [QVNEvent eventWithHandle:zentaraKeepEvent(event)
                                   url:handler->url
                               referer:@""
                                  flaw:nil
                               refusal:nil
                            properties:nil],
             zentaraErrorObject(error));
    }
}

ZentaraSendCall zentaraSendCall(const SendHandler *handler) {
    return handler->block == nil ? NULL : callSend;
}

void zentaraWarnNotQueued(ZentaraText schemaId, NSString *reason) {
    zentaraWarnWith([NSString stringWithFormat:@"ZentaraClient: event %@ not queued: %@",
                                               zentaraString(schemaId), reason]);
}

void zentaraRefuse(const ZentaraClientHandle *client, const SendHandler *handler,
                   const ZentaraEventTexts *texts, NSDictionary *properties, NSString *reason) {
    zentaraWarnNotQueued(texts->schemaId, reason);
    ZentaraError *error = zentaraRefuseEvent(client, texts->schemaId);
    if (handler->block != nil) {
        ZentaraEventTexts withoutReferer = *texts;
        withoutReferer.referer = (ZentaraText){NULL, 0};
        tell(handler->block,
             [QVNEvent eventWithHandle:zentaraMakeEvent(&withoutReferer, NULL)
                                   url:handler->url
                               referer:@""
                                  flaw:nil
                               refusal:reason
                            properties:properties],
             zentaraErrorObject(error));
    }
    zentaraReleaseError(error);
}

void zentaraCallReady(void *block, const ZentaraError *error) {
    zentaraCallHost("the ready block", ^{
        ((void (^)(QVNZentaraClientError *))(id)block)(zentaraErrorObject(error));
    });
}

void zentaraCallAnonymousUser(void *block, ZentaraText type, ZentaraText value,
                              ZentaraText publicValue) {
    zentaraCallHost("the block for the anonymous user", ^{
        ((void (^)(NSString *, NSString *, NSString *))(id)block)(
            zentaraString(type), zentaraString(value), zentaraOptionalString(publicValue));
    });
}

void zentaraCallHsid(void *block, ZentaraText hsid) {
    zentaraCallHost("the block for the session token", ^{
        ((void (^)(NSString *))(id)block)(zentaraString(hsid));
    });
}

void zentaraCallFetch(void *block, uint64_t result) {
    zentaraCallHost("the block for the fetch", ^{
        ((void (^)(NSUInteger))(id)block)((NSUInteger)result);
    });
}
