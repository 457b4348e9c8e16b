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

/// The object of this client, autoreleased; nil for null. Takes `handle` over. A shared client
/// holds its object.
static QVNZentaraClient *objectOf(zentara_client *handle) {
    if (handle == NULL) return nil;
    QVNZentaraClient *client = zentaraClientObject(zentaraClientIdentity(handle), ^{
        return [[QVNZentaraClient alloc] initWithHandle:zentara_client_copy(handle)];
    });
    // Shared objects are often used without being retained.
    zentaraKeepWhileShared(handle, zentaraHeldObject(client));
    zentara_client_release(handle);
    return [client autorelease];
}

static const zentara_client *handleOf(zentara_client *handle) {
    if (handle == NULL) {
        zentaraFatalError("a QVNZentaraClient is used that was not initialised");
    }
    return handle;
}

void zentaraRaise(SEL method, NSString *reason) {
    @throw [NSException
        exceptionWithName:NSInvalidArgumentException
                   reason:[NSString
                              stringWithFormat:@"%@: %@", NSStringFromSelector(method), reason]
                 userInfo:nil];
}

void zentaraUseSettings(id tenant, NSInteger environment, id advertisingId,
                        const zentara_delivery_policy *delivery, SEL method) {
    NSString *refusal = nil;
    @autoreleasepool {
        const zentara_text text = zentaraArgument(tenant, @"tenant", &refusal);
        zentara_text advertisingText = {NULL, 0};
        if (advertisingId != nil) {
            advertisingText = zentaraArgument(advertisingId, @"advertisingId", &refusal);
        }
        const zentara_environment known = (zentara_environment)environment;
        if (refusal == nil &&
            (known != environment ||
             zentara_use_settings(text, known, advertisingText, delivery) != ZENTARA_OK)) {
            refusal =
                [NSString stringWithFormat:@"there is no environment %lld", (long long)environment];
        }
        [refusal retain];
    }
    [refusal autorelease];
    if (refusal != nil) zentaraRaise(method, refusal);
}

static bool isTokenType(NSInteger type) {
    return type >= ZENTARA_USER_QVN_ID && type <= ZENTARA_USER_EXTERNAL_ID;
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
    zentara_client_release(_client);
    [super dealloc];
}

+ (QVNZentaraClient *)sharedClient {
    return objectOf(zentara_shared_client_copy());
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
    zentara_client *handle = NULL;
    zentara_get(readyCallback == nil ? NULL : zentaraCallReady, zentaraCopyBlock(readyCallback),
                zentaraReleaseHeldBlock, &handle);
    QVNZentaraClient *client = objectOf(handle);
    return succeeds(client != nil, error) ? client : nil;
}

+ (void)useSettingsWithTenant:(NSString *)tenant
           zentaraEnvironment:(ZentaraEnvironment)zentaraEnvironment
                advertisingId:(NSString *)advertisingId {
    zentaraUseSettings(tenant, zentaraEnvironment, advertisingId, NULL, _cmd);
}

+ (ZENTARA_BOOL)setLoggedUserWithTokenType:(UserTokenType)tokenType
                                     token:(NSString *)token
                                     error:(NSError **)error {
    if (!succeeds(zentara_is_configured(), error)) return false;
    NSString *refusal = nil;
    bool isSet = false;
    @autoreleasepool {
        const zentara_text text = zentaraArgument(token, @"token", &refusal);
        if (refusal == nil && !isTokenType(tokenType)) {
            refusal =
                [NSString stringWithFormat:@"there is no token type %lld", (long long)tokenType];
        }
        isSet = refusal == nil &&
                zentara_set_logged_user((zentara_user_token_type)tokenType, text) == ZENTARA_OK;
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
    return succeeds(zentara_remove_logged_user() == ZENTARA_OK, error);
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
        event = [zentaraEventObject(zentara_event_make_take(&input.draft), &input) retain];
    }
    return [event autorelease];
}

- (ZENTARA_BOOL)getAnonymousUserAndReturnError:(NSError **)error
                                  callbackUser:
                                      (void (^)(NSString *, NSString *, NSString *))callbackUser {
    const zentara_status status =
        zentara_get_anonymous_user(callbackUser == nil ? NULL : zentaraCallAnonymousUser,
                                   zentaraCopyBlock(callbackUser), zentaraReleaseHeldBlock);
    return succeeds(status == ZENTARA_OK, error);
}

- (ZENTARA_BOOL)getHsidAndReturnError:(NSError **)error
                         callbackHsid:(void (^)(NSString *))callbackHsid {
    const zentara_status status =
        zentara_get_hsid(callbackHsid == nil ? NULL : zentaraCallHsid,
                         zentaraCopyBlock(callbackHsid), zentaraReleaseHeldBlock);
    return succeeds(status == ZENTARA_OK, error);
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
        handler.urlText = input.draft.url;
        if (input.refusal != nil) {
            zentaraRefuse(handleOf(_client), &handler, &input.draft, input.ownProperties,
                          input.refusal);
        } else {
            if (input.flaw != nil) zentaraWarnNotQueued(input.draft.schema_id, input.flaw);
            zentara_send_take(handleOf(_client), &input.draft, zentaraCallSend, &handler, NULL);
        }
    }
    zentaraEndSend(&handler);
}

/// The element of an array as an event; nil if it is another object.
QVNEvent *zentaraEventIn(id element) {
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
static void sendElement(const zentara_client *client, id element, zentara_text relationId,
                        NSString *refusal, SendHandler *handler) {
    zentara_event_draft texts = ZENTARA_INIT(zentara_event_draft);
    texts.schema_id = texts.schema_version = texts.content_type = zentara_text_of("");
    QVNEvent *event = zentaraEventIn(element);
    if (event == nil) {
        handler->url = @"";
        texts.relation_id = relationId;
        zentaraRefuse(client, handler, &texts, nil, @"an object that is not an event");
        return;
    }
    handler->url = event.url;
    if (refusal == nil) refusal = [event refusal];
    if (refusal == nil) {
        if ([event flaw] != nil) {
            zentaraWarnNotQueued(zentaraTextsOf([event handle]).schema_id, [event flaw]);
        }
        const zentara_event *handle = [event handle];
        handler->urlText = zentaraTextsOf(handle).url;
        zentara_send_events(client, &handle, 1, relationId, zentaraCallSend, handler, NULL);
        return;
    }
    texts = zentaraTextsOf([event handle]);
    texts.relation_id = relationId;
    zentaraRefuse(client, handler, &texts, event.properties, refusal);
}

- (void)sendWithEvents:(NSArray<QVNEvent *> *)events
            relationId:(NSString *)relationId
               handler:(void (^)(QVNEvent *, QVNZentaraClientError *))block {
    @autoreleasepool {
        NSString *refusal = nil;
        zentara_text relationText = {NULL, 0};
        if (relationId != nil) relationText = zentaraArgument(relationId, @"relationId", &refusal);
        [self sendElements:elementsOf(events)
                relationId:relationText
                   refusal:refusal
                   handler:block];
    }
}

- (void)performFetchWith:(void (^)(NSUInteger))completion {
    zentara_perform_fetch(completion == nil ? NULL : zentaraCallFetch, zentaraCopyBlock(completion),
                          zentaraReleaseHeldBlock);
}

@end

@implementation QVNZentaraClient (Internal)

- (instancetype)initWithHandle:(zentara_client *)handle {
    self = [super init];
    if (self != nil) _client = handle;
    return self;
}

- (const zentara_client *)clientHandle {
    return handleOf(_client);
}

- (void)sendElements:(NSArray *)elements
          relationId:(zentara_text)relationId
             refusal:(NSString *)refusal
             handler:(void (^)(QVNEvent *, QVNZentaraClientError *))block {
    SendHandler handler = {.block = zentaraCopyBlock(block)};
    for (id element in elements) {
        @autoreleasepool {
            sendElement(handleOf(_client), element, relationId, refusal, &handler);
        }
    }
    zentaraEndSend(&handler);
}

@end
