// What the runtime knows of the classes, and use before there is a client.

#import <objc/runtime.h>

#import "Harness.h"
#import "Host.h"
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
    for (size_t index = 0; index < sizeof expected / sizeof expected[0]; ++index) {
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
    for (size_t index = 0; index < sizeof absent / sizeof absent[0]; ++index) {
        const SEL selector = sel_registerName(absent[index]);
        CHECK(class_getInstanceMethod(class, selector) == NULL);
        CHECK(class_getClassMethod(class, selector) == NULL);
    }
}

TEST(InvocationsReachMethodsWithBlocks) {
    beginHost();
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
    void (^ready)(ZentaraClientError *) = ^(ZentaraClientError *error) {
        ++calls;
    };
    NSError *errors[5] = {nil};
    CHECK([QVNZentaraClient getAndReturnError:&errors[0] readyCallback:ready] == nil);
    CHECK(![QVNZentaraClient setLoggedUserWithTokenType:(UserTokenType)3
                                                  token:@"t"
                                                  error:&errors[1]]);
    CHECK(![QVNZentaraClient removeLoggedUserAndReturnError:&errors[2]]);
    CHECK(![plain getAnonymousUserAndReturnError:&errors[3] callbackUser:nil]);
    CHECK(![plain getHsidAndReturnError:&errors[4] callbackHsid:nil]);
    for (int index = 0; index < 5; ++index) {
        CHECK([errors[index] isKindOfClass:[NSError class]]);
        CHECK(![errors[index] isKindOfClass:[ZentaraClientError class]]);
        CHECK_EQUAL([errors[index] domain], @"ZentaraClient.ZentaraClientNotConfiguredError");
        CHECK([errors[index] code] == 1);
        CHECK([[errors[index] userInfo] count] == 0);
    }
    CHECK(calls == 0);
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == nil);
    CHECK(![plain getHsidAndReturnError:NULL callbackHsid:nil]);
    CHECK([QVNZentaraClient sharedClient] == nil);
}

TEST(SuccessLeavesTheErrorPointerAlone) {
    beginHost();
    QVNZentaraClient *client = waitingClient();
    NSError *const untouched = [NSError errorWithDomain:@"untouched" code:7 userInfo:nil];
    NSError *error = untouched;
    CHECK([QVNZentaraClient getAndReturnError:&error readyCallback:nil] == client);
    const char *users[] = {"\"user\":{\"token\":\"me\",\"type\":\"QVNID\"}",
                           "\"user\":{\"token\":\"me\",\"type\":\"GST\"}",
                           "\"user\":{\"token\":\"me\",\"type\":\"EXT_ID\"}",
                           "\"user\":{\"token\":\"Anonymous\",\"type\":\"Anonymous\"}"};
    for (int type = 0; type < 3; ++type) {
        CHECK([QVNZentaraClient setLoggedUserWithTokenType:(UserTokenType)type
                                                     token:@"me"
                                                     error:&error]);
        sendProperties(client, nil, nil);
    }
    CHECK([QVNZentaraClient removeLoggedUserAndReturnError:&error]);
    sendProperties(client, nil, nil);
    CHECK(error == untouched);
    char *held = documentOf("unvalidated-events-storage");
    const char *next = held;
    for (int index = 0; index < 4 && next != NULL; ++index)
        CHECK((next = strstr(next, users[index])) != NULL);
    free(held);
}

TEST(SettingsAreThoseOfCPlusPlus) {
    [QVNZentaraClient useSettingsWithTenant:@"tenänt"
                         zentaraEnvironment:ZentaraEnvironmentProduction
                              advertisingId:@"ad"];
    char *settings = settingsOfCPlusPlus();
    CHECK(strcmp(settings, "tenänt, 0, ad") == 0);
    free(settings);
    configure();
    settings = settingsOfCPlusPlus();
    CHECK(strcmp(settings, "tenant, 1, none") == 0);
    free(settings);
}

TEST(WhatIsNoEnumeratorIsRefused) {
    beginHost();
    bool hasRaised = false;
    @try {
        [QVNZentaraClient useSettingsWithTenant:@"tenant"
                             zentaraEnvironment:(ZentaraEnvironment)2
                                  advertisingId:nil];
    } @catch (NSException *exception) {
        hasRaised = [[exception name] isEqual:NSInvalidArgumentException];
    }
    CHECK(hasRaised);
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == nil);
    configure();
    NSError *error = nil;
    CHECK(![QVNZentaraClient setLoggedUserWithTokenType:(UserTokenType)3 token:@"" error:&error]);
    CHECK_EQUAL([error localizedDescription], @"there is no token type 3");
    CHECK_EQUAL([error domain], @"ZentaraClient");
}

TEST(ErrorsAreToldApartByTheirClasses) {
    const struct {
        ZentaraClientError *error;
        Class class;
        NSInteger code;
        NSString *message;
    } expected[] = {
        {[[ZentaraClientNotInitializedError alloc] init],
         [ZentaraClientNotInitializedError class],
         EventErrorCodeNotInitialized,
         @"Zentara Client not initialized!"},
        {[[ZentaraClientNotReady alloc] initWithDetail:@"Later."], [ZentaraClientNotReady class],
         EventErrorCodeNotReady, @"Zentara Client is not Ready! Later."},
        {[[InvalidDataForSpecifiedSchemaError alloc] initWithDetail:@""],
         [InvalidDataForSpecifiedSchemaError class], EventErrorCodeInvalidData,
         @"Data not valid for specified Schema. "},
        {[[UnknownError alloc] init],
         [UnknownError class],
         EventErrorCodeUnknown,
         @"Unknown error"},
        {[[EventNotQueuedError alloc] init],
         [EventNotQueuedError class],
         EventErrorCodeNotQueued,
         @"Event Not Queued"},
        {[[SchemasInitializationError alloc] init],
         [SchemasInitializationError class],
         EventErrorCodeNotQueued,
         @"Zentara client can not get schemas"},
    };
    for (size_t index = 0; index < sizeof expected / sizeof expected[0]; ++index) {
        ZentaraClientError *error = expected[index].error;
        CHECK([error isMemberOfClass:expected[index].class]);
        CHECK([error isKindOfClass:[ZentaraClientError class]]);
        CHECK([error isKindOfClass:[NSError class]]);
        CHECK_EQUAL([error domain], @"ZentaraClient");
        CHECK([error code] == expected[index].code);
        CHECK_EQUAL([error localizedDescription], expected[index].message);
        CHECK_EQUAL([error userInfo], @{NSLocalizedDescriptionKey : expected[index].message});
        CHECK(![[error userInfo] isKindOfClass:[NSMutableDictionary class]]);
        CHECK_EQUAL([[error copy] autorelease], error);
        NSString *name = NSStringFromClass(expected[index].class);
        NSString *words = lastWordsOf(^{
            [[[error class] alloc] initWithDomain:@"d" code:1 userInfo:nil];
        });
        CHECK([words rangeOfString:name].length > 0);
        CHECK([words rangeOfString:@"initWithDomain:code:userInfo:"].length > 0);
        words = lastWordsOf(^{
            [[[error class] alloc] initWithCoder:nil];
        });
        CHECK([words rangeOfString:@"init(coder:) has not been implemented"].length > 0);
        [error release];
    }
    ZentaraClientError *own = [[[ZentaraClientError alloc] initWithDomain:@"own"
                                                                     code:9
                                                                 userInfo:nil] autorelease];
    CHECK_EQUAL([own domain], @"own");
    CHECK([own code] == 9);
    CHECK([lastWordsOf(^{
              [[ZentaraClientError alloc] initWithCoder:nil];
          }) rangeOfString:@"init(coder:)"]
              .length > 0);
}
