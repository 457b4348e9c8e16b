// With the real collector, in a process of its own.

#include <sched.h>
#include <stdatomic.h>

#import "Harness.h"

/// Builds the client and waits for the first report of its ready block.
static Class firstReport(void) {
    __block _Atomic(Class) report = Nil;
    [QVNZentaraClient getAndReturnError:NULL
                          readyCallback:^(ZentaraClientError *error) {
                              report = error == nil ? [NSNull class] : [error class];
                          }];
    while (report == Nil)
        sched_yield();
    return report;
}

TEST(ReadyBlockReportsMissingSchemas) {
    beginHost();
    configure();
    CHECK(firstReport() == [SchemasInitializationError class]);
    QVNZentaraClientFailure *failure = [QVNZentaraClientStatistics current].schemasFailure;
    CHECK(failure.inARow == 1 && failure.time > 0 && contains(failure.text, @"127.0.0.1"));
}

TEST(EventsArriveAtTheCollector) {
    beginHost();
    startCollector();
    configure();
    CHECK(firstReport() == [NSNull class]);
    QVNZentaraClient *client = [QVNZentaraClient sharedClient];
    NSDictionary *good = @{@"title" : @"Tïtle 😀", @"section" : @"home", @"language" : @"en"};
    NSDictionary *bad = @{@"title" : @5};
    NSMutableArray *outcomes = [NSMutableArray array];
    SendBlock handler = ^(Event *event, ZentaraClientError *error) {
        [outcomes addObject:error ? (id)error : event.properties];
    };
    sendTo(client, nil, bad, handler);
    [client sendWithEvents:@[ eventOf(nil, nil, nil) ] relationId:nil handler:handler];
    ZentaraClientError *invalid = [outcomes objectAtIndex:0];
    CHECK([invalid isMemberOfClass:[InvalidDataForSpecifiedSchemaError class]]);
    CHECK([[invalid localizedDescription]
        hasPrefix:@"Data not valid for specified Schema. Error validating page-view-1 schema: "]);
    CHECK([[outcomes objectAtIndex:1] isMemberOfClass:[UnknownError class]]);
    standardErrorOf(^{
        sendTo(client, nil, @{@"title" : [NSDate date]}, handler);
    });
    CHECK([[outcomes objectAtIndex:2] isMemberOfClass:[EventNotQueuedError class]]);

    __block atomic_bool hasHsid = false;
    id note = ^(NSString *hsid) {
        hasHsid = [hsid length] > 0;
    };
    CHECK([client getHsidAndReturnError:NULL callbackHsid:note]);
    while (!hasHsid)
        sched_yield();
    NSString *token = taken(documentOf("anonymous-token-storage"));
    id compare = ^(NSString *type, NSString *value, NSString *publicValue) {
        CHECK_EQUAL(token, ([NSString stringWithFormat:@"[{\"type\":\"%@\",\"value\":\"%@\","
                                                        "\"publicValue\":\"%@\"}]",
                                                       type, value, publicValue]));
    };
    CHECK([client getAnonymousUserAndReturnError:NULL callbackUser:compare]);

    // Timers deliver only ten seconds after the send.
    sendTo(client, @"sent url", good, handler);
    CHECK_EQUAL([outcomes lastObject], good);
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
    NSString *events = taken(askCollector("/received/events"));
    CHECK(contains(events, @"\"total\":1"));
    CHECK(contains(events, @"\"title\":\"Tïtle 😀\""));
    CHECK(contains(events, @"\"url\":\"sent url\",\"contentType\":\"application/json\","));
    CHECK(contains(events, @"\"zentaraClientReferer\":\"sent referer\""));
    CHECK(contains(taken(askCollector("/received/requests")), @"ADVERTISING_ID=ad"));
    CHECK(contains(taken(askCollector("/received/envelopes")), @"tenänt"));
    QVNZentaraClientStatistics *now = [QVNZentaraClientStatistics current];
    CHECK(now.accepted == 1 && now.delivered == 1 && now.batchesDelivered == 1);
    CHECK(now.refusedInvalid == 1 && now.refusedUnknownSchema == 1 && now.waiting == 0);
}
