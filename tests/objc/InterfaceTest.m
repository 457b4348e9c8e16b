// The classes as the runtime knows them, and calls before there is a client.

#import <objc/runtime.h>

#import "Harness.h"

TEST(EverySelectorHasItsTypes) {
    NSString *table = [NSString stringWithContentsOfFile:@ZENTARA_SELECTORS];
    NSArray *expected =
        [[table stringByTrimmingCharactersInSet:[NSCharacterSet newlineCharacterSet]]
            componentsSeparatedByString:@"\n"];
    CHECK([expected count] == 13);
    Class class = objc_getClass("QVNZentaraClient");
    QVNZentaraClient *client = [[[QVNZentaraClient alloc] init] autorelease];
    CHECK(class_getSuperclass(class) == [NSObject class]);
    for (NSString *line in expected) {
        NSArray *parts = [line componentsSeparatedByString:@" "];
        const SEL selector = NSSelectorFromString([parts objectAtIndex:1]);
        const bool isClassMethod = [line hasPrefix:@"+"];
        const Method method = isClassMethod ? class_getClassMethod(class, selector)
                                            : class_getInstanceMethod(class, selector);
        CHECK(method != NULL);
        if (method == NULL) continue;
        CHECK_EQUAL([NSString stringWithUTF8String:method_getTypeEncoding(method)],
                    [parts lastObject]);
        // The runtime aborts at the encoding of a block.
        if (isClassMethod) {
            CHECK([class methodSignatureForSelector:selector] != nil);
        } else {
            CHECK([class instanceMethodSignatureForSelector:selector] != nil);
            CHECK([client methodSignatureForSelector:selector] != nil);
        }
    }
}

TEST(WrongUseIsAnErrorRightUseSetsNone) {
    void (^wrong[])(void) = {^{
        [QVNZentaraClient useSettingsWithTenant:@"t" zentaraEnvironment:2 advertisingId:nil];
}
,
    ^{
        QVNZentaraClient.sharedClient = (id) @"a string";
    },
    ^{
        [QVNZentaraClient setLogSinkWithLevel:3 sink:nil];
    },
    ^{
        [QVNZentaraClient setBundledSchemas:(NSData *)@"{}"];
    },
}
;
NSString *reasons[] = {@"there is no environment 2", @"sharedClient cannot be an object of class",
                       @"setLogSinkWithLevel:sink:: there is no log level 3",
                       @"setBundledSchemas:: the table is not an NSData"};
for (size_t index = 0; index < COUNT_OF(reasons); ++index) {
    @try {
        wrong[index]();
        CHECK(false && "raises");
    } @catch (NSException *exception) {
        CHECK(contains([exception reason], reasons[index]));
    }
}
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
CHECK(![plain getHsidAndReturnError:NULL callbackHsid:block]);
for (int index = 0; index < 5; ++index) {
    CHECK([errors[index] isMemberOfClass:[NSError class]]);
    CHECK_EQUAL([errors[index] domain], @"ZentaraClient.ZentaraClientNotConfiguredError");
    CHECK([errors[index] code] == 1);
    CHECK([[errors[index] userInfo] count] == 0);
}
CHECK(calls == 0);

QVNZentaraClient *client = waitingClient();
CHECK_EQUAL(taken(settingsInForce()), @"tenänt 1 ad");
[QVNZentaraClient useSettingsWithTenant:@"other" zentaraEnvironment:0 advertisingId:nil];
CHECK_EQUAL(taken(settingsInForce()), @"other 0 (none)");
NSError *error = nil;
CHECK([QVNZentaraClient getAndReturnError:&error readyCallback:nil] == client);
NSString *types[] = {@"QVNID", @"GST", @"EXT_ID"};
for (NSInteger type = 0; type < 3; ++type) {
    CHECK([QVNZentaraClient setLoggedUserWithTokenType:type token:@"me" error:&error]);
    sendTo(client, nil, nil, nil);
    CHECK([heldBack() hasSuffix:[NSString stringWithFormat:@"\"user\":{\"token\":\"me\","
                                                            "\"type\":\"%@\"}}]",
                                                           types[type]]]);
}
CHECK([QVNZentaraClient removeLoggedUserAndReturnError:&error]);
sendTo(client, nil, nil, nil);
CHECK([heldBack() hasSuffix:@"\"user\":{\"token\":\"Anonymous\",\"type\":\"Anonymous\"}}]"]);
CHECK(error == nil);
CHECK(![QVNZentaraClient setLoggedUserWithTokenType:3 token:@"" error:&error]);
CHECK_EQUAL([error localizedDescription], @"there is no token type 3");
CHECK_EQUAL([error domain], ZentaraClientInvalidArgumentErrorDomain);
CHECK([error code] == 1);
}

TEST(HostAndEndpointsAreSet) {
    beginHost();
    QVNZentaraEndpoints *endpoints = [[[QVNZentaraEndpoints alloc] init] autorelease];
    endpoints.productionCollector = @"http://a.example";
    endpoints.productionSchemas = @"http://b.example";
    endpoints.qaSchemas = @"http://c.example";
    endpoints.certificateAuthorityFile = @"/own/authority.pem";
    [endpoints use];
    [QVNHostApplication setBundleIdentifier:@"own.bundle"];
    [QVNHostApplication setDocumentsDirectory:@"/own/documents"];
    [QVNHostApplication setPreferencesDirectory:@"/own/preferences"];
    CHECK_EQUAL(taken(hostInForce()),
                @"http://a.example http://127.0.0.1:1 http://b.example http://c.example "
                 "/own/authority.pem own.bundle /own/documents /own/preferences");
}

TEST(ErrorsHaveClassesCodesAndMessages) {
    NSArray *errors = @[
        [[[ZentaraClientNotInitializedError alloc] init] autorelease],
        [[[ZentaraClientNotReady alloc] initWithDetail:@"Later."] autorelease],
        [[[InvalidDataForSpecifiedSchemaError alloc] initWithDetail:@"Wrong."] autorelease],
        [[[UnknownError alloc] init] autorelease],
        [[[EventNotQueuedError alloc] init] autorelease],
        [[[SchemasInitializationError alloc] init] autorelease],
        [[[ConsentDeniedError alloc] init] autorelease],
        [[[EventDroppedError alloc] init] autorelease],
        [[[BeforeQueueError alloc] initWithDetail:@"Raised."] autorelease],
        [[[ClientShutDownError alloc] init] autorelease],
    ];
    NSString *expected[] = {
        @"QVNZentaraClientNotInitializedError 0 Zentara Client not initialized!",
        @"QVNZentaraClientNotReady 1 Zentara Client is not Ready! Later.",
        @"QVNInvalidDataForSpecifiedSchemaError 2 Data not valid for specified Schema. Wrong.",
        @"QVNUnknownError 3 Unknown error",
        @"QVNEventNotQueuedError 4 Event Not Queued",
        @"QVNSchemasInitializationError 4 Zentara client can not get schemas",
        @"QVNConsentDeniedError 4 Event not queued: consent is denied",
        @"QVNEventDroppedError 4 Event not queued: the host has dropped it",
        @"QVNBeforeQueueError 4 Event not queued: the host's function has thrown: Raised.",
        @"QVNClientShutDownError 4 Event not queued: the client is shut down",
    };
    for (size_t index = 0; index < COUNT_OF(expected); ++index) {
        ZentaraClientError *error = [errors objectAtIndex:index];
        Class class = [error class];
        NSString *message = [error localizedDescription];
        NSString *all =
            [NSString stringWithFormat:@"%@ %ld %@", class, (long)[error code], message];
        CHECK_EQUAL(all, expected[index]);
        CHECK([error isKindOfClass:[ZentaraClientError class]]);
        CHECK_EQUAL([error domain], @"ZentaraClient");
        CHECK_EQUAL([error domain], ZentaraClientErrorDomain);
        CHECK_EQUAL([error userInfo], @{NSLocalizedDescriptionKey : message});
        CHECK_EQUAL([[error copy] autorelease], error);
        CHECK(isFatal(NSStringFromClass(class), ^{
            [[class alloc] initWithDomain:@"d" code:1 userInfo:nil];
        }));
    }
    CHECK_EQUAL(NSStringFromClass([Event class]), @"QVNEvent");
    NSError *own = [[ZentaraClientError alloc] initWithDomain:@"own" code:9 userInfo:nil];
    CHECK_EQUAL([[own autorelease] domain], @"own");
    CHECK(isFatal(@"init of Event", ^{
        [[Event class] new];
    }));
    CHECK(isFatal(@"init(coder:) has not been implemented", ^{
        [[UnknownError alloc] initWithCoder:nil];
    }));
}
