// The application's blocks, and delivery to the real collector.

#include <sched.h>
#include <stdatomic.h>

#import "Harness.h"

/// A new host with a collector and a client that is ready and has an identity.
static QVNZentaraClient *readyClient(void) {
    beginHost();
    startCollector();
    configure();
    __block atomic_bool isReady = false;
    QVNZentaraClient *client = [QVNZentaraClient getAndReturnError:NULL
                                                     readyCallback:^(ZentaraClientError *error) {
                                                         isReady = error == nil;
                                                     }];
    __block atomic_bool hasIdentity = false;
    [client getHsidAndReturnError:NULL
                     callbackHsid:^(NSString *hsid) {
                         hasIdentity = [hsid length] > 0;
                     }];
    while (!isReady || !hasIdentity)
        sched_yield();
    return client;
}

TEST(EveryMemberOfThePolicyArrives) {
    NSString *expected[] = {
        @"continue 1 size 1 gzip 0 backOff 0 isolate 0 reuse 0",
        @"continue 0 size 2 gzip 1 backOff 0 isolate 0 reuse 0",
        @"continue 0 size 3 gzip 0 backOff 1 isolate 0 reuse 0",
        @"continue 0 size 4 gzip 0 backOff 0 isolate 1 reuse 0",
        @"continue 0 size 5 gzip 0 backOff 0 isolate 0 reuse 1",
    };
    for (int index = 0; index < 5; ++index) {
        QVNDeliveryPolicy *policy = [[[QVNDeliveryPolicy alloc] init] autorelease];
        policy.largestBodySize = index + 1;
        policy.continueAtOnce = index == 0;
        policy.compressBodies = index == 1;
        policy.backOff = index == 2;
        policy.isolateRefused = index == 3;
        policy.reuseConnections = index == 4;
        [QVNZentaraClient useSettingsWithTenant:@"t"
                             zentaraEnvironment:ZentaraEnvironmentQa
                                  advertisingId:nil
                                       delivery:policy];
        CHECK_EQUAL(taken(policyInForce()), expected[index]);
    }
}

TEST(BlockChangesDropsAndRefusesEvents) {
    QVNZentaraClient *client = readyClient();
    NSMutableArray *sent = [NSMutableArray array];
    NSDictionary *page = @{@"title" : @"Tïtle 😀", @"section" : @"home"};
    [QVNZentaraClient setGlobalProperties:@{@"language" : @"de", @"title" : @"global"}];
    [QVNZentaraClient setBeforeQueue:^ZentaraEventDecision(QVNOutgoingEvent *outgoing) {
        NSString *title = [outgoing.properties objectForKey:@"title"];
        CHECK_EQUAL(outgoing.event.referer, @"");
        CHECK_EQUAL(outgoing.referer, @"sent referer");
        CHECK_EQUAL([outgoing.properties objectForKey:@"language"], @"de");
        if ([title isEqual:@"raise"]) [NSException raise:@"Own" format:@"reason"];
        if ([title isEqual:@"unknown"]) return 2;
        NSMutableDictionary *changed =
            [NSMutableDictionary dictionaryWithDictionary:outgoing.properties];
        [changed setObject:@"basket" forKey:@"section"];
        outgoing.properties = changed;
        outgoing.url = @"own url";
        outgoing.referer = @"own referer";
        [sent addObject:outgoing.actionUUID];
        return ZentaraEventDecisionQueue;
    }];
    __block _Atomic(QVNDeliveryNotice *) notice = nil;
    [QVNZentaraClient setDeliveryObserver:^(QVNDeliveryNotice *found) {
        notice = [found retain];
    }];
    NSMutableArray *outcomes = [NSMutableArray array];
    SendBlock handler = ^(Event *event, ZentaraClientError *error) {
        [outcomes addObject:error ? (id)[error class] : event.url];
        if ([error isKindOfClass:[BeforeQueueError class]])
            CHECK([[error localizedDescription] hasSuffix:@": Own: reason"]);
    };
    sendTo(client, @"sent url", page, handler);
    for (NSString *title in @[ @"raise", @"unknown" ])
        sendTo(client, nil, @{@"title" : title, @"section" : @"home"}, handler);
    [QVNZentaraClient setBeforeQueue:nil];
    [client sendEvent:[QVNZentaraClient createEventWithSchemaId:@"page-view"
                                                  schemaVersion:@"1"
                                                    contentType:@"own/type"
                                                            url:@"its url"
                                                        referer:@"its referer"
                                                     properties:page
                                                     relationId:@"its relation"]
              handler:handler];
    [client sendEvent:(id) @"no event" handler:nil];
    standardErrorOf(^{
        sendTo(client, nil, @{@"title" : [NSDate date]}, handler);
    });
    sendTo(
        client, nil,
        @{@"title" : @5}, handler);
    [client sendWithEvents:@[ eventOf(nil, nil, nil) ] relationId:nil handler:handler];
    CHECK_EQUAL(outcomes, (@[
                    @"own url", [BeforeQueueError class], [EventDroppedError class], @"its url",
                    [EventNotQueuedError class], [InvalidDataForSpecifiedSchemaError class],
                    [UnknownError class]
                ]));

    for (NSUInteger expected = 0; expected < 2; ++expected) {
        const NSUInteger pending = 99;
        __block atomic_ulong fetched = pending;
        [client performFetchWith:^(NSUInteger result) {
            fetched = result;
        }];
        while (fetched == pending)
            sched_yield();
        CHECK(fetched == expected);
    }
    while (notice == nil)
        sched_yield();
    QVNDeliveryNotice *delivered = notice;
    CHECK(delivered.kind == ZentaraDeliveryKindDelivered && [delivered.actionUUIDs count] == 2);
    CHECK_EQUAL([delivered.actionUUIDs objectAtIndex:0], [sent objectAtIndex:0]);
    CHECK_EQUAL(delivered.reason, @"");
    [delivered release];
    NSString *events = taken(askCollector("/received/events"));
    for (NSString *part in @[
             @"\"total\":2", @"\"url\":\"own url\"", @"\"zentaraClientReferer\":\"own referer\"",
             @"\"title\":\"Tïtle 😀\"", @"\"section\":\"basket\"", @"\"url\":\"its url\"",
             @"\"zentaraClientReferer\":\"its referer\"", @"\"zentaraRelationId\":\"its relation\"",
             @"\"contentType\":\"own/type\""
         ])
        CHECK_EQUAL(contains(events, part) ? part : events, part);

    NSString *token = taken(documentOf("anonymous-token-storage"));
    id compare = ^(NSString *type, NSString *value, NSString *publicValue) {
        CHECK_EQUAL(token, ([NSString stringWithFormat:@"[{\"type\":\"%@\",\"value\":\"%@\","
                                                        "\"publicValue\":\"%@\"}]",
                                                       type, value, publicValue]));
    };
    CHECK([client getAnonymousUserAndReturnError:NULL callbackUser:compare]);
}

TEST(ReadyBlockReportsMissingSchemas) {
    beginHost();
    configure();
    __block _Atomic(Class) report = Nil;
    [QVNZentaraClient getAndReturnError:NULL
                          readyCallback:^(ZentaraClientError *error) {
                              report = error == nil ? [NSNull class] : [error class];
                          }];
    while (report == Nil)
        sched_yield();
    CHECK(report == [SchemasInitializationError class]);
    QVNZentaraClientFailure *failure = [QVNZentaraClientStatistics current].schemasFailure;
    CHECK(failure.inARow == 1 && failure.time > 0 && contains(failure.text, @"127.0.0.1"));
}

TEST(BundledSchemasMakeTheFirstStartReady) {
    beginHost();
    configure();
    NSMutableData *table =
        [NSMutableData dataWithData:[@"{\"own-1\":{}}" dataUsingEncoding:NSUTF8StringEncoding]];
    [QVNZentaraClient setBundledSchemas:table];
    [table setLength:0];
    __block atomic_ulong reports = 0;
    __block _Atomic(Class) first = Nil;
    [QVNZentaraClient getAndReturnError:NULL
                          readyCallback:^(ZentaraClientError *error) {
                              if (reports++ == 0)
                                  first = error == nil ? [NSNull class] : [error class];
                          }];
    CHECK(first == [NSNull class]);
    [QVNZentaraClient setBundledSchemas:nil];
}

TEST(SinkReceivesTheLines) {
    QVNZentaraClient *client = waitingClient();
    __block _Atomic(QVNLogLine *) first = nil;
    NSString *printed = standardErrorOf(^{
        [QVNZentaraClient setLogSinkWithLevel:ZentaraLogLevelWarning
                                         sink:^(QVNLogLine *line) {
                                             if ([line.component isEqual:@"client"] && first == nil)
                                                 first = [line retain];
                                         }];
        sendTo(client, nil, @{@"when" : [NSDate date]}, nil);
        while (first == nil)
            sched_yield();
        [QVNZentaraClient setLogSinkWithLevel:ZentaraLogLevelFatal sink:nil];
    });
    CHECK_EQUAL(printed, @"");
    QVNLogLine *line = first;
    CHECK(line.level == ZentaraLogLevelWarning);
    CHECK([line.text hasPrefix:@"event page-view not queued: properties.when is an object"]);
    [line release];
}
