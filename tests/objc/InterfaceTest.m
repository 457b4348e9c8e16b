// What the runtime knows of the classes, and use before there is a client.

#import <objc/runtime.h>

#import "Harness.h"
#import "Samples.h"

TEST(EverySelectorHasItsTypes) {
    static const struct {
        bool isClassMethod;
        const char *name;
        const char *types;
    } expected[] = {
        {true, "sharedClient", "@16@0:8"},
        {true, "setSharedClient:", "v24@0:8@16"},
        {true, "getAndReturnError:readyCallback:", "@32@0:8^@16@?24"},
        {true, "useSettingsWithTenant:zentaraEnvironment:advertisingId:", "v40@0:8@16q24@32"},
        {true, "setLoggedUserWithTokenType:token:error:", "B40@0:8q16@24^@32"},
        {true, "removeLoggedUserAndReturnError:", "B24@0:8^@16"},
        {true,
         "createEventWithSchemaId:schemaVersion:contentType:url:referer:properties:relationId:",
         "@72@0:8@16@24@32@40@48@56@64"},
        {false, "getAnonymousUserAndReturnError:callbackUser:", "B32@0:8^@16@?24"},
        {false, "getHsidAndReturnError:callbackHsid:", "B32@0:8^@16@?24"},
        {false,
         "sendWithSchemaId:schemaVersion:contentType:url:referer:properties:relationId:handler:",
         "v80@0:8@16@24@32@40@48@56@64@?72"},
        {false, "sendWithEvents:relationId:handler:", "v40@0:8@16@24@?32"},
        {false, "performFetchWith:", "v24@0:8@?16"},
        {false, "init", "@16@0:8"},
    };
    Class class = objc_getClass("QVNZentaraClient");
    CHECK(class_getSuperclass(class) == [NSObject class]);
    for (size_t index = 0; index < COUNT_OF(expected); ++index) {
        const SEL selector = sel_registerName(expected[index].name);
        const Method method = expected[index].isClassMethod
                                  ? class_getClassMethod(class, selector)
                                  : class_getInstanceMethod(class, selector);
        CHECK(method != NULL);
        if (method == NULL) continue;
        CHECK_EQUAL([NSString stringWithUTF8String:method_getTypeEncoding(method)],
                    [NSString stringWithUTF8String:expected[index].types]);
    }
    const char *absent[] = {"isReady", "newContextId", "getContextId", "removeAdvertisingId",
                            "setAdvertisingIdWithAdvertisingIdentifier:"};
    for (size_t index = 0; index < COUNT_OF(absent); ++index) {
        const SEL selector = sel_registerName(absent[index]);
        CHECK(class_getInstanceMethod(class, selector) == NULL);
        CHECK(class_getClassMethod(class, selector) == NULL);
    }
}

TEST(InvocationsReachMethodsWithBlocks) {
    QVNZentaraClient *client = [[[QVNZentaraClient alloc] init] autorelease];
    const SEL selector = @selector(performFetchWith:);
    NSInvocation *invocation =
        [NSInvocation invocationWithMethodSignature:[client methodSignatureForSelector:selector]];
    __block NSUInteger result = 99;
    void (^block)(NSUInteger) = ^(NSUInteger fetched) {
        result = fetched;
    };
    [invocation setSelector:selector];
    [invocation setArgument:&block atIndex:2];
    [invocation invokeWithTarget:client];
    CHECK(result == ZentaraBackgroundFetchResultFailed);
    CHECK([QVNZentaraClient instanceMethodSignatureForSelector:selector] != nil);
    CHECK([QVNZentaraClient methodSignatureForSelector:@selector(getAndReturnError:
                                                                     readyCallback:)] != nil);
}

TEST(UseBeforeTheSettingsIsAnError) {
    beginHost();
    QVNZentaraClient *plain = [[[QVNZentaraClient alloc] init] autorelease];
    __block int calls = 0;
    id block = ^(id value) {
        ++calls;
    };
    NSError *errors[5] = {nil};
    CHECK([QVNZentaraClient getAndReturnError:&errors[0] readyCallback:block] == nil);
    CHECK(![QVNZentaraClient setLoggedUserWithTokenType:3 token:@"t" error:&errors[1]]);
    CHECK(![QVNZentaraClient removeLoggedUserAndReturnError:&errors[2]]);
    CHECK(![plain getAnonymousUserAndReturnError:&errors[3] callbackUser:block]);
    CHECK(![plain getHsidAndReturnError:&errors[4] callbackHsid:block]);
    for (int index = 0; index < 5; ++index) {
        CHECK([errors[index] isMemberOfClass:[NSError class]]);
        CHECK_EQUAL([errors[index] domain], @"ZentaraClient.ZentaraClientNotConfiguredError");
        CHECK([errors[index] code] == 1);
        CHECK([[errors[index] userInfo] count] == 0);
    }
    CHECK(calls == 0);
    CHECK(![plain getHsidAndReturnError:NULL callbackHsid:nil]);
    CHECK([QVNZentaraClient sharedClient] == nil);
}

TEST(SuccessLeavesTheErrorPointerAlone) {
    QVNZentaraClient *client = waitingClient();
    NSError *const untouched = [NSError errorWithDomain:@"untouched" code:7 userInfo:nil];
    NSError *error = untouched;
    CHECK([QVNZentaraClient getAndReturnError:&error readyCallback:nil] == client);
    NSString *types[] = {@"QVNID", @"GST", @"EXT_ID"};
    for (int type = 0; type < 3; ++type) {
        CHECK([QVNZentaraClient setLoggedUserWithTokenType:type token:@"me" error:&error]);
        sendTo(client, nil, nil, nil);
        NSString *user =
            [NSString stringWithFormat:@"\"user\":{\"token\":\"me\",\"type\":\"%@\"}", types[type]];
        CHECK(contains(heldBack(), user));
    }
    CHECK([QVNZentaraClient removeLoggedUserAndReturnError:&error]);
    sendTo(client, nil, nil, nil);
    CHECK(contains(heldBack(), @"\"type\":\"Anonymous\""));
    CHECK(error == untouched);
}

static bool isInvalidArgument(void (^code)(void)) {
    @try {
        code();
    } @catch (NSException *exception) {
        return [[exception name] isEqual:NSInvalidArgumentException];
    }
    return false;
}

TEST(WhatIsNoEnumeratorOrNoClientIsRefused) {
    beginHost();
    CHECK(isInvalidArgument(^{
        [QVNZentaraClient useSettingsWithTenant:@"tenant" zentaraEnvironment:2 advertisingId:nil];
    }));
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == nil);
    configure();
    NSError *error = nil;
    CHECK(![QVNZentaraClient setLoggedUserWithTokenType:3 token:@"" error:&error]);
    CHECK_EQUAL([error localizedDescription], @"there is no token type 3");
    CHECK_EQUAL([error domain], @"ZentaraClient");
    CHECK(isInvalidArgument(^{
        QVNZentaraClient.sharedClient = (id) @"a string";
    }));
    CHECK([QVNZentaraClient sharedClient] == nil);
}

static bool isFatal(NSString *cause, void (^code)(void)) {
    return contains(lastWordsOf(code), cause);
}

TEST(ErrorsAreToldApartByTheirClasses) {
    const struct {
        ZentaraClientError *error;
        NSString *class;
        NSInteger code;
        NSString *message;
    } expected[] = {
        {[[ZentaraClientNotInitializedError alloc] init],
         @"ZentaraClientNotInitializedError",
         EventErrorCodeNotInitialized,
         @"Zentara Client not initialized!"},
        {[[ZentaraClientNotReady alloc] initWithDetail:@"Later."], @"ZentaraClientNotReady",
         EventErrorCodeNotReady, @"Zentara Client is not Ready! Later."},
        {[[InvalidDataForSpecifiedSchemaError alloc] initWithDetail:@""],
         @"InvalidDataForSpecifiedSchemaError", EventErrorCodeInvalidData,
         @"Data not valid for specified Schema. "},
        {[[UnknownError alloc] init], @"UnknownError", EventErrorCodeUnknown, @"Unknown error"},
        {[[EventNotQueuedError alloc] init],
         @"EventNotQueuedError",
         EventErrorCodeNotQueued,
         @"Event Not Queued"},
        {[[SchemasInitializationError alloc] init],
         @"SchemasInitializationError",
         EventErrorCodeNotQueued,
         @"Zentara client can not get schemas"},
    };
    for (size_t index = 0; index < COUNT_OF(expected); ++index) {
        ZentaraClientError *error = [expected[index].error autorelease];
        Class class = [error class];
        CHECK_EQUAL(NSStringFromClass(class), expected[index].class);
        CHECK([error isKindOfClass:[ZentaraClientError class]]);
        CHECK_EQUAL([error domain], @"ZentaraClient");
        CHECK([error code] == expected[index].code);
        CHECK_EQUAL([error localizedDescription], expected[index].message);
        CHECK_EQUAL([error userInfo], @{NSLocalizedDescriptionKey : expected[index].message});
        CHECK_EQUAL([[error copy] autorelease], error);
        CHECK(isFatal(expected[index].class, ^{
            [[class alloc] initWithDomain:@"d" code:1 userInfo:nil];
        }));
        CHECK(isFatal(@"init(coder:) has not been implemented", ^{
            [[class alloc] initWithCoder:nil];
        }));
    }
    ZentaraClientError *own = [[[ZentaraClientError alloc] initWithDomain:@"own"
                                                                     code:9
                                                                 userInfo:nil] autorelease];
    CHECK_EQUAL([own domain], @"own");
    CHECK([own code] == 9);
}

TEST(AnEventWithoutValuesIsAFatalError) {
    Class class = [Event class];
    CHECK(isFatal(@"init of Event", ^{
        [[class alloc] init];
    }));
    CHECK(isFatal(@"init of Event", ^{
        [class new];
    }));
}
