#import "facade/objc/Internal.h"

void zentaraCallHost(const char *where, void (^code)(void)) {
    @autoreleasepool {
        @try {
            code();
        } @catch (id exception) {
            zentaraWarnWith([NSString stringWithFormat:@"ZentaraClient: exception in %s: %@", where,
                                                       zentaraDescriptionOfException(exception)]);
        }
    }
}

NSString *zentaraDescriptionOfException(id exception) {
    @try {
        if ([exception isKindOfClass:[NSException class]]) {
            return [NSString stringWithFormat:@"%@: %@", [(NSException *)exception name],
                                              [(NSException *)exception reason]];
        }
        return NSStringFromClass([exception class]);
    } @catch (id another) {
        return @"an exception that cannot be described";
    }
}

void zentaraWarnWith(NSString *text) {
    @try {
        zentaraWarn(zentaraText(text));
    } @catch (id exception) {
        const char line[] = "ZentaraClient: a message that cannot be read";
        zentaraWarn((zentara_text){line, sizeof line - 1});
    }
}

// Releasing a block releases what it has captured, and so may run code of the application.
void zentaraReleaseHeldBlock(void *block) {
    zentaraCallHost("the release of a block", ^{
        zentaraReleaseBlock((id)block);
    });
}

static void releaseObject(void *object) {
    zentaraCallHost("the release of a client", ^{
        [(id)object release];
    });
}

ZentaraHeld zentaraHeldObject(id object) {
    return (ZentaraHeld){[object retain], releaseObject};
}

void zentaraEndSend(SendHandler *handler) {
    zentaraReleaseHeldBlock(handler->block);
}

static void tell(id block, QVNEvent *event, QVNZentaraClientError *error) {
    zentaraCallHost("the handler of an event", ^{
        ((void (^)(QVNEvent *, QVNZentaraClientError *))block)(event, error);
    });
}

void zentaraCallSend(void *context, const zentara_event *event, const zentara_error *error) {
    const SendHandler *handler = context;
    if (handler->block == nil) return;
    @autoreleasepool {
        NSString *url = zentaraString(zentaraTextsOf(event).url);
        // The before-queue block may have changed it.
        const bool isAsSent = [url isEqualToString:zentaraString(handler->urlText)];
        const EventInput input = {.url = isAsSent ? handler->url : url, .referer = @""};
        tell(handler->block, zentaraEventObject(zentara_event_copy(event), &input),
             zentaraErrorObject(error));
    }
}

void zentaraWarnNotQueued(zentara_text schemaId, NSString *reason) {
    zentaraWarnWith([NSString stringWithFormat:@"ZentaraClient: event %@ not queued: %@",
                                               zentaraString(schemaId), reason]);
}

void zentaraRefuse(const zentara_client *client, const SendHandler *handler,
                   const zentara_event_draft *texts, NSDictionary *properties, NSString *reason) {
    zentaraWarnNotQueued(texts->schema_id, reason);
    zentara_error *error = zentaraRefuseEvent(client, texts->schema_id);
    if (handler->block != nil) {
        const EventInput input = {
            .url = handler->url, .referer = @"", .refusal = reason, .ownProperties = properties};
        tell(handler->block, zentaraEventObject(zentara_event_make(texts), &input),
             zentaraErrorObject(error));
    }
    zentara_error_release(error);
}

void zentaraCallReady(void *block, const zentara_error *error) {
    zentaraCallHost("the ready block", ^{
        ((void (^)(QVNZentaraClientError *))(id)block)(zentaraErrorObject(error));
    });
}

void zentaraCallAnonymousUser(void *block, zentara_text type, zentara_text value,
                              zentara_text publicValue) {
    zentaraCallHost("the block for the anonymous user", ^{
        ((void (^)(NSString *, NSString *, NSString *))(id)block)(
            zentaraString(type), zentaraString(value), zentaraOptionalString(publicValue));
    });
}

void zentaraCallHsid(void *block, zentara_text hsid) {
    zentaraCallHost("the block for the session token", ^{
        ((void (^)(NSString *))(id)block)(zentaraString(hsid));
    });
}

void zentaraCallFetch(void *block, zentara_fetch_result result) {
    zentaraCallHost("the block for the fetch", ^{
        ((void (^)(NSUInteger))(id)block)((NSUInteger)result);
    });
}
