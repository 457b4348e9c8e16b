#import "facade/objc/Internal.h"

/// Returns `isConfigured`. If it is false, sets the error.
static bool succeeds(bool isConfigured, NSError **error) {
    // As an error that has neither domain nor code nor message of its own becomes an object.
    if (!isConfigured && error != NULL) {
        *error = [NSError errorWithDomain:ZentaraClientNotConfiguredErrorDomain
                                     code:1
                                 userInfo:nil];
    }
    return isConfigured;
}

@interface QVNZentaraClient (Internal)
- (instancetype)initWithHandle:(ZentaraClientHandle *)handle;
@end

/// The object of this client, autoreleased; nil for null. Takes `handle` over. A shared client
/// holds its object.
static QVNZentaraClient *objectOf(ZentaraClientHandle *handle) {
    if (handle == NULL) return nil;
    QVNZentaraClient *client = zentaraClientObject(zentaraClientIdentity(handle), ^{
        return [[QVNZentaraClient alloc] initWithHandle:zentaraKeepClient(handle)];
    });
    // Shared objects are often used without being retained.
    zentaraKeepWhileShared(handle, zentaraHeldObject(client));
    zentaraReleaseClient(handle);
    return [client autorelease];
}

static const ZentaraClientHandle *handleOf(ZentaraClientHandle *handle) {
    if (handle == NULL) {
        zentaraFatalError("a QVNZentaraClient is used that was not initialised");
    }
    return handle;
}

@implementation QVNZentaraClient

- (instancetype)init {
    // An object never changes its client.
    if (_client != NULL) return self;
    self = [super init];
    if (self == nil) return nil;
    _client = zentaraMakePlainClient();
    return zentaraClientObject(zentaraClientIdentity(_client), ^{
        return self;
    });
}

- (void)dealloc {
    zentaraReleaseClient(_client);
    [super dealloc];
}

+ (QVNZentaraClient *)sharedClient {
    return objectOf(zentaraSharedClient());
}

+ (void)setSharedClient:(QVNZentaraClient *)client {
    if (client == nil) {
        zentaraSetSharedClient(NULL, (ZentaraHeld){NULL, NULL});
        return;
    }
    if (![client isKindOfClass:[QVNZentaraClient class]]) {
        [NSException raise:NSInvalidArgumentException
                    format:@"sharedClient cannot be an object of class %@",
                           NSStringFromClass([client class])];
    }
    zentaraSetSharedClient(handleOf(client->_client), zentaraHeldObject(client));
}

+ (QVNZentaraClient *)getAndReturnError:(NSError **)error
                          readyCallback:(void (^)(QVNZentaraClientError *))readyCallback {
    QVNZentaraClient *client = objectOf(zentaraGetClient(zentaraHeldBlock(readyCallback)));
    return succeeds(client != nil, error) ? client : nil;
}

+ (void)useSettingsWithTenant:(NSString *)tenant
           zentaraEnvironment:(ZentaraEnvironment)zentaraEnvironment
                advertisingId:(NSString *)advertisingId {
    NSString *refusal = nil;
    @autoreleasepool {
        const ZentaraText text = zentaraArgument(tenant, @"tenant", &refusal);
        ZentaraText advertisingText = {NULL, 0};
        if (advertisingId != nil) {
            advertisingText = zentaraArgument(advertisingId, @"advertisingId", &refusal);
        }
        if (refusal == nil && !zentaraUseSettings(text, zentaraEnvironment, advertisingText)) {
            refusal = [NSString
                stringWithFormat:@"there is no environment %lld", (long long)zentaraEnvironment];
        }
        [refusal retain];
    }
    [refusal autorelease];
    if (refusal != nil) {
        [NSException raise:NSInvalidArgumentException
                    format:@"%@: %@", NSStringFromSelector(_cmd), refusal];
    }
}

+ (ZENTARA_BOOL)setLoggedUserWithTokenType:(UserTokenType)tokenType
                                     token:(NSString *)token
                                     error:(NSError **)error {
    if (!succeeds(zentaraIsConfigured(), error)) return false;
    NSString *refusal = nil;
    bool isSet = false;
    @autoreleasepool {
        const ZentaraText text = zentaraArgument(token, @"token", &refusal);
        if (refusal == nil && !zentaraIsTokenType(tokenType)) {
            refusal =
                [NSString stringWithFormat:@"there is no token type %lld", (long long)tokenType];
        }
        isSet = refusal == nil && zentaraSetLoggedUser(tokenType, text);
        [refusal retain];
    }
    if (refusal == nil) return succeeds(isSet, error);
    [refusal autorelease];
    if (error != NULL) {
        *error = [NSError errorWithDomain:ZentaraClientInvalidArgumentErrorDomain
                                     code:1
                                 userInfo:@{NSLocalizedDescriptionKey : refusal}];
    }
    return false;
}

+ (ZENTARA_BOOL)removeLoggedUserAndReturnError:(NSError **)error {
    return succeeds(zentaraRemoveLoggedUser(), error);
}

+ (QVNEvent *)createEventWithSchemaId:(NSString *)schemaId
                        schemaVersion:(NSString *)schemaVersion
                          contentType:(NSString *)contentType
                                  url:(id)url
                              referer:(id)referer
                           properties:(NSDictionary *)properties
                           relationId:(NSString *)relationId {
    QVNEvent *event = nil;
    @autoreleasepool {
        const EventInput input = zentaraConvertEvent(schemaId, schemaVersion, contentType, url,
                                                     referer, properties, relationId);
        event =
            [zentaraEventObject(zentaraMakeEvent(&input.texts, input.properties), &input) retain];
    }
    return [event autorelease];
}

- (ZENTARA_BOOL)getAnonymousUserAndReturnError:(NSError **)error
                                  callbackUser:
                                      (void (^)(NSString *, NSString *, NSString *))callbackUser {
    return succeeds(zentaraGetAnonymousUser(handleOf(_client), zentaraHeldBlock(callbackUser)),
                    error);
}

- (ZENTARA_BOOL)getHsidAndReturnError:(NSError **)error
                         callbackHsid:(void (^)(NSString *))callbackHsid {
    return succeeds(zentaraGetHsid(handleOf(_client), zentaraHeldBlock(callbackHsid)), error);
}

- (void)sendWithSchemaId:(NSString *)schemaId
           schemaVersion:(NSString *)schemaVersion
             contentType:(NSString *)contentType
                     url:(id)url
                 referer:(id)referer
              properties:(NSDictionary *)properties
              relationId:(NSString *)relationId
                 handler:(void (^)(QVNEvent *, QVNZentaraClientError *))block {
    SendHandler handler = {.block = zentaraCopyBlock(block)};
    @autoreleasepool {
        const EventInput input = zentaraConvertEvent(schemaId, schemaVersion, contentType, url,
                                                     referer, properties, relationId);
        handler.url = input.url;
        if (input.refusal != nil) {
            zentaraRefuse(handleOf(_client), &handler, &input.texts, input.ownProperties,
                          input.refusal);
        } else {
            if (input.flaw != nil) zentaraWarnNotQueued(input.texts.schemaId, input.flaw);
            zentaraSend(handleOf(_client), &input.texts, input.properties, &handler);
        }
    }
    zentaraEndSend(&handler);
}

/// The element of an array as an event; nil if it is another object.
static QVNEvent *eventIn(id element) {
    @try {
        return [element isKindOfClass:[QVNEvent class]] && [element handle] != NULL ? element : nil;
    } @catch (id exception) {
        return nil;
    }
}

/// A copy of an array of events, because a handler may change the application's array. Another
/// object becomes one element that is not an event.
static NSArray *elementsOf(id events) {
    @try {
        if (events == nil) return nil;
        if ([events isKindOfClass:[NSArray class]]) return [NSArray arrayWithArray:events];
    } @catch (id exception) {
        zentaraWarnWith([NSString stringWithFormat:@"ZentaraClient: an array of events raised %@",
                                                   zentaraDescriptionOfException(exception)]);
    }
    return [NSArray arrayWithObject:[NSNull null]];
}

/// Sends one element of an array of events, or refuses it.
static void sendElement(const ZentaraClientHandle *client, id element, ZentaraText relationId,
                        NSString *refusal, SendHandler *handler) {
    ZentaraEventTexts texts = {.relationId = relationId};
    QVNEvent *event = eventIn(element);
    if (event == nil) {
        handler->url = @"";
        zentaraRefuse(client, handler, &texts, nil, @"an object that is not an event");
        return;
    }
    handler->url = event.url;
    if (refusal == nil) refusal = [event refusal];
    if (refusal == nil) {
        if ([event flaw] != nil) {
            zentaraWarnNotQueued(zentaraEventTexts([event handle]).schemaId, [event flaw]);
        }
        zentaraSendEvent(client, [event handle], relationId, handler);
        return;
    }
    texts = zentaraEventTexts([event handle]);
    texts.relationId = relationId;
    zentaraRefuse(client, handler, &texts, event.properties, refusal);
}

- (void)sendWithEvents:(NSArray<QVNEvent *> *)events
            relationId:(NSString *)relationId
               handler:(void (^)(QVNEvent *, QVNZentaraClientError *))block {
    SendHandler handler = {.block = zentaraCopyBlock(block)};
    @autoreleasepool {
        NSString *refusal = nil;
        ZentaraText relationText = {NULL, 0};
        if (relationId != nil) relationText = zentaraArgument(relationId, @"relationId", &refusal);
        for (id element in elementsOf(events)) {
            @autoreleasepool {
                sendElement(handleOf(_client), element, relationText, refusal, &handler);
            }
        }
    }
    zentaraEndSend(&handler);
}

- (void)performFetchWith:(void (^)(NSUInteger))completion {
    zentaraPerformFetch(handleOf(_client), zentaraHeldBlock(completion));
}

@end

@implementation QVNZentaraClient (Internal)

- (instancetype)initWithHandle:(ZentaraClientHandle *)handle {
    self = [super init];
    if (self != nil) _client = handle;
    return self;
}

@end
