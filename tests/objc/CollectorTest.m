// With the real collector, in a process of its own.

#import "Harness.h"
#import "Host.h"
#import "Samples.h"

/// A client with schemas.
static QVNZentaraClient *readyClient(void) {
    startCollector();
    configure();
    Latch *latch = [[[Latch alloc] init] autorelease];
    QVNZentaraClient *client = [QVNZentaraClient getAndReturnError:NULL
                                                     readyCallback:^(ZentaraClientError *error) {
                                                         if (error == nil) [latch signal];
                                                     }];
    CHECK([latch waitForCount:1]);
    return client;
}

/// The events that the collector has, as they were posted.
static NSArray *receivedEvents(void) {
    char *text = askCollector("/received/events");
    NSData *data = [NSData dataWithBytesNoCopy:text length:strlen(text)];
    NSDictionary *answer = [NSJSONSerialization JSONObjectWithData:data options:0 error:NULL];
    return [[answer objectForKey:@"events"] valueForKey:@"event"];
}

static NSUInteger fetch(QVNZentaraClient *client) {
    Latch *latch = [[[Latch alloc] init] autorelease];
    __block NSUInteger fetched = 99;
    [client performFetchWith:^(NSUInteger result) {
        fetched = result;
        [latch signal];
    }];
    CHECK([latch waitForCount:1]);
    return fetched;
}

TEST(EventsArriveAtTheCollector) {
    beginHost();
    QVNZentaraClient *client = readyClient();
    NSDictionary *good = @{@"title" : @"Tïtle 😀", @"section" : @"home", @"language" : @"en"};
    __block ZentaraClientError *outcome = nil;
    __block int queued = 0;
    sendProperties(client, good, ^(Event *event, ZentaraClientError *error) {
        if (error == nil) ++queued;
        CHECK_EQUAL(event.properties, good);
    });
    CHECK(queued == 1);
    sendProperties(
        client,
        @{@"title" : @5},
        ^(Event *event, ZentaraClientError *error) {
            outcome = [error retain];
        });
    CHECK([[outcome autorelease] isMemberOfClass:[InvalidDataForSpecifiedSchemaError class]]);
    CHECK([[outcome localizedDescription]
        hasPrefix:@"Data not valid for specified Schema. Error validating page-view-1 schema: "]);
    [client sendWithSchemaId:@"nobody-knows"
        schemaVersion:@"1"
        contentType:@"c"
        url:@"u"
        referer:@"r"
        properties:@{}
        relationId:nil
        handler:^(Event *event, ZentaraClientError *error) {
            outcome = [error retain];
        }];
    CHECK([[outcome autorelease] isMemberOfClass:[UnknownError class]]);

    Latch *latch = [[[Latch alloc] init] autorelease];
    NSMutableString *hsid = [NSMutableString string];
    CHECK([client getHsidAndReturnError:NULL
                           callbackHsid:^(NSString *value) {
                               [hsid setString:value];
                               [latch signal];
                           }]);
    CHECK([latch waitForCount:1]);
    CHECK([hsid length] > 0);
    NSMutableString *user = [NSMutableString string];
    CHECK([client
        getAnonymousUserAndReturnError:NULL
                          callbackUser:^(NSString *type, NSString *value, NSString *publicValue) {
                              [user appendFormat:
                                        @"\"type\":\"%@\",\"value\":\"%@\",\"publicValue\":\"%@\"",
                                        type, value, publicValue];
                          }]);
    char *token = documentOf("anonymous-token-storage");
    CHECK([user length] > 0 && strstr(token, [user UTF8String]) != NULL);
    free(token);

    NSUInteger result = fetch(client);
    bool hasDelivered = false;
    for (; result != ZentaraBackgroundFetchResultNoData; result = fetch(client))
        hasDelivered |= result == ZentaraBackgroundFetchResultNewData;
    CHECK(hasDelivered);
    NSArray *arrived = receivedEvents();
    CHECK([arrived count] == 1);
    NSDictionary *event = [arrived lastObject];
    CHECK_EQUAL([event objectForKey:@"properties"], good);
    CHECK_EQUAL([event objectForKey:@"zentaraClientReferer"], @"https://example.com/from");
}

TEST(TheExampleDeliversItsEvent) {
    beginHost();
    startCollector();
    int exitCode = -1;
    char *output = runExample(&exitCode);
    CHECK(exitCode == 0);
    CHECK(strcmp(output, "page-view: queued\ndelivered\n") == 0);
    free(output);
    NSArray *arrived = receivedEvents();
    CHECK([arrived count] == 1);
    CHECK_EQUAL([[arrived lastObject] objectForKey:@"url"], @"https://example.com/");
    CHECK_EQUAL([[[arrived lastObject] objectForKey:@"properties"] objectForKey:@"title"], @"Home");
}
