// Events and their values, there and back and on disk.

#import "Harness.h"
#import "Host.h"
#import "Samples.h"

static const char *const heldBackFile = "unvalidated-events-storage";

/// An object that raises an exception whenever it is looked at.
@interface Nuisance : NSObject
@end

@implementation Nuisance
- (NSString *)description {
    [NSException raise:@"Nuisance" format:@"not\nnow"];
    return nil;
}
@end

/// A boolean of the application's own.
@interface OwnBoolean : NSNumber
@end

@implementation OwnBoolean
- (const char *)objCType {
    return "B";
}
- (BOOL)boolValue {
    return YES;
}
@end

@interface RaisingDictionary : NSDictionary
@end

@implementation RaisingDictionary
- (NSUInteger)count {
    return 1;
}
- (NSEnumerator *)keyEnumerator {
    return [@[ @"key" ] objectEnumerator];
}
- (id)objectForKey:(id)key {
    [NSException raise:@"Lazy" format:@"cannot load %@", key];
    return nil;
}
@end

static NSString *stringOf(const unichar *units, NSUInteger length) {
    // Unit by unit, because Foundation's initialisers refuse what is not Unicode.
    NSMutableString *string = [NSMutableString string];
    for (NSUInteger index = 0; index < length; ++index)
        [string appendFormat:@"%C", units[index]];
    return string;
}

TEST(AnEventHasTheValuesItWasMadeWith) {
    NSURL *url = [NSURL URLWithString:@"page?a=1" relativeToURL:[NSURL URLWithString:@"http://x/"]];
    NSMutableString *contentType = [NSMutableString stringWithString:@"text/plain"];
    NSMutableArray *list = [NSMutableArray arrayWithObject:@1];
    NSMutableDictionary *properties = [NSMutableDictionary dictionaryWithObject:list forKey:@"a"];
    Event *event = [QVNZentaraClient createEventWithSchemaId:@"id"
                                               schemaVersion:@"2"
                                                 contentType:contentType
                                                         url:url
                                                     referer:@42
                                                  properties:properties
                                                  relationId:@"relation"];
    [contentType appendString:@"; later"];
    [list addObject:@2];
    [properties setObject:@"later" forKey:@"b"];
    CHECK_EQUAL(event.schemaId, @"id");
    CHECK_EQUAL(event.schemaVersion, @"2");
    CHECK_EQUAL(event.contentType, @"text/plain");
    CHECK(event.url == url);
    CHECK_EQUAL(event.referer, @42);
    CHECK_EQUAL(
        event.properties,
        @{@"a" : @[ @1 ]});
    CHECK_EQUAL(event.relationId, @"relation");
    CHECK(![event.properties isKindOfClass:[NSMutableDictionary class]]);

    Event *empty = [QVNZentaraClient createEventWithSchemaId:nil
                                               schemaVersion:nil
                                                 contentType:nil
                                                         url:nil
                                                     referer:nil
                                                  properties:nil
                                                  relationId:nil];
    CHECK_EQUAL(empty.schemaId, @"");
    CHECK_EQUAL(empty.url, @"");
    CHECK_EQUAL(empty.properties, @{});
    CHECK(empty.relationId == nil);
}

TEST(AnEventWithoutValuesIsAFatalError) {
    Class class = [Event class];
    CHECK([lastWordsOf(^{
              [[class alloc] init];
          }) rangeOfString:@"init of Event"]
              .length > 0);
    CHECK([lastWordsOf(^{
              [class new];
          }) rangeOfString:@"init of Event"]
              .length > 0);
}

TEST(NumbersKeepTheirKindAndTheirValue) {
    const struct {
        NSNumber *number;
        const char *type;
        NSString *text;
    } cases[] = {
        {@9007199254740993, "q", @"9007199254740993"},
        {@(LLONG_MIN), "q", @"-9223372036854775808"},
        {@(LLONG_MAX), "q", @"9223372036854775807"},
        {@(ULLONG_MAX), "Q", @"18446744073709551615"},
        {[NSNumber numberWithUnsignedShort:7], "q", @"7"},
        {[NSNumber numberWithChar:-1], "q", @"-1"},
        {@0.1, "d", @"0.1"},
        {@-0.0, "d", @"-0.0"},
        {@1e300, "d", @"1e+300"},
        {@3.0, "d", @"3.0"},
        {[NSDecimalNumber decimalNumberWithString:@"12345678901234567890"], "Q",
         @"12345678901234567890"},
        {[NSDecimalNumber decimalNumberWithString:@"-9007199254740993"], "q", @"-9007199254740993"},
        {[NSDecimalNumber decimalNumberWithString:@"-9223372036854775808"], "q",
         @"-9223372036854775808"},
        {[NSDecimalNumber decimalNumberWithString:@"0.5"], "d", @"0.5"},
        {[[[OwnBoolean alloc] init] autorelease], NULL, @"true"},
        {@YES, NULL, @"true"},
        {[NSNumber numberWithBool:false], NULL, @"false"},
        {@1, "q", @"1"},
    };
    beginHost();
    QVNZentaraClient *client = waitingClient();
    Class booleans = [@YES class];
    for (size_t index = 0; index < sizeof cases / sizeof cases[0]; ++index) {
        NSDictionary *properties = @{@"value" : cases[index].number};
        NSNumber *found = [eventWith(properties).properties objectForKey:@"value"];
        // Foundation does not take a decimal number for the integer that it is.
        if (![cases[index].number isKindOfClass:[NSDecimalNumber class]] &&
            ![cases[index].number isKindOfClass:[OwnBoolean class]]) {
            CHECK_EQUAL(found, cases[index].number);
        }
        CHECK([found isKindOfClass:booleans] == (cases[index].type == NULL));
        // Small integers come in one size, whatever was asked for.
        if (cases[index].type != NULL) {
            const bool isReal = *[found objCType] == 'd';
            const bool isUnsigned = *[found objCType] == 'Q';
            CHECK(isReal == (*cases[index].type == 'd'));
            CHECK(isUnsigned == (*cases[index].type == 'Q'));
        }
        sendProperties(client, properties, nil);
    }
    char *held = documentOf(heldBackFile);
    const char *next = held;
    for (size_t index = 0; index < sizeof cases / sizeof cases[0] && next != NULL; ++index) {
        NSString *expected =
            [NSString stringWithFormat:@"\"properties\":{\"value\":%@}", cases[index].text];
        next = strstr(next, "\"properties\"");
        CHECK(next != NULL &&
              strncmp(next, [expected UTF8String], strlen([expected UTF8String])) == 0);
        if (next != NULL) ++next;
    }
    free(held);
}

TEST(NestedValuesComeBackAsTheyWere) {
    NSDictionary *properties = @{
        @"null" : [NSNull null],
        @"list" : @[ @[], @{}, @[ @1, @"two",
                                  @{@"three" : @[ @YES ]} ],
                     [NSNull null] ],
        @"" : @{@"ключ" : @"значение", @"👩‍👩‍👧" : @""},
    };
    CHECK_EQUAL(eventWith(properties).properties, properties);
}

TEST(StringsMayHoldAnything) {
    const struct {
        unichar given[4];
        NSUInteger givenLength;
        unichar found[4];
    } cases[] = {
        {{'a', 0, 'b'}, 3, {'a', 0, 'b'}},
        {{0xD83D, 0xDE00, 'x'}, 3, {0xD83D, 0xDE00, 'x'}},
        {{'a', 0xD83D, 'b'}, 3, {'a', 0xFFFD, 'b'}},
        {{0xDE00, 0xD83D}, 2, {0xFFFD, 0xFFFD}},
        {{0xD83D, 0xD83D, 0xDE00}, 3, {0xFFFD, 0xD83D, 0xDE00}},
        {{0xFEFF, 'b', 0xFFFF}, 3, {0xFEFF, 'b', 0xFFFF}},
        {{0xFFFE, 0x7FF, 0x800}, 3, {0xFFFE, 0x7FF, 0x800}},
    };
    for (size_t index = 0; index < sizeof cases / sizeof cases[0]; ++index) {
        NSString *given = stringOf(cases[index].given, cases[index].givenLength);
        NSString *expected = stringOf(cases[index].found, cases[index].givenLength);
        Event *event = [QVNZentaraClient createEventWithSchemaId:given
                                                   schemaVersion:@""
                                                     contentType:@""
                                                             url:@""
                                                         referer:@""
                                                      properties:@{given : given}
                                                      relationId:given];
        CHECK_EQUAL(event.schemaId, expected);
        CHECK_EQUAL(event.relationId, expected);
        CHECK_EQUAL([event.properties allKeys], @[ expected ]);
        CHECK_EQUAL([event.properties allValues], @[ expected ]);
    }
}

static NSArray *nested(int depth) {
    NSArray *array = [NSArray array];
    for (int level = 1; level < depth; ++level)
        array = @[ array ];
    return array;
}

TEST(WhatJSONCannotHoldIsRefusedAndNothingElseIs) {
    NSMutableArray *cycle = [NSMutableArray array];
    const id itself = cycle;
    [cycle addObject:itself];
    [cycle addObject:itself];
    NSArray *exponential = @[ @1 ];
    for (int level = 0; level < 60; ++level)
        exponential = @[ exponential, exponential ];
    id distant = [NSDate date];
    for (int level = 0; level < 60; ++level)
        distant = @[ distant ];
    const unichar likeKeys[2][2] = {{'a', 0xD800}, {'a', 0xDC00}};
    const struct {
        id properties;
        NSString *reason;
    } cases[] = {
        {@{@"when" : [NSDate date]}, @"properties.when is an object of class"},
        {@{@"a" : @[ @1, @{@"b" : [NSData data]} ]}, @"properties.a[1].b is an object of class"},
        {@{@"x" : @(NAN)}, @"properties.x is a number that is not finite"},
        {@{@"x" : @(-INFINITY)}, @"properties.x is a number that is not finite"},
        {@{@"x" : [NSDecimalNumber notANumber]}, @"not finite"},
        {@{@7 : @"x"}, @"properties is a key of class"},
        {@{@"x" : cycle}, @"properties.x[0] is a container in itself"},
        {@{@"x" : distant}, @"properties...[0][0][0]"},
        {@{@"x" : @{stringOf(likeKeys[0], 2) : @1, stringOf(likeKeys[1], 2) : @2}},
         @"properties.x is a dictionary whose keys are equal"},
        {@{@"x" : exponential}, @"too many values"},
        {@{@"x" : nested(513)}, @"nested too deeply"},
        {@{@"x" : nested(100000)}, @"nested too deeply"},
        {[[[RaisingDictionary alloc] init] autorelease],
         @"properties raised Lazy: cannot load key"},
        {@"a string", @"properties is an object of class"},
    };
    beginHost();
    QVNZentaraClient *client = waitingClient();
    __block int calls = 0;
    int refused = 0;
    for (size_t index = 0; index < sizeof cases / sizeof cases[0]; ++index, ++refused) {
        const id properties = cases[index].properties;
        NSString *line = standardErrorOf(^{
            sendProperties(client, properties, ^(Event *event, ZentaraClientError *error) {
                ++calls;
                CHECK([error isMemberOfClass:[EventNotQueuedError class]]);
                CHECK_EQUAL(event.schemaId, @"page-view");
                CHECK_EQUAL(event.referer, @"");
            });
        });
        CHECK([line hasPrefix:@"ZentaraClient: event page-view not queued: "]);
        CHECK([line rangeOfString:cases[index].reason].length > 0);
        CHECK([[line componentsSeparatedByString:@"\n"] count] == 2 && "one line");
        CHECK(calls == refused + 1);
    }
    [cycle removeAllObjects];
    // An event that was made of them says what they were, and is refused when it is sent.
    NSDictionary *dates = @{@"when" : [NSDate dateWithTimeIntervalSince1970:0]};
    Event *event = eventWith(dates);
    CHECK_EQUAL(event.properties, dates);
    standardErrorOf(^{
        [client sendWithEvents:@[ event, eventWith(
                                             @{@"good" : @1}) ]
                    relationId:nil
                       handler:^(Event *sent, ZentaraClientError *error) {
                           const bool isGood = [sent.properties objectForKey:@"good"] != nil;
                           CHECK([error isMemberOfClass:isGood ? [ZentaraClientNotReady class]
                                                               : [EventNotQueuedError class]]);
                           ++calls;
                       }];
    });
    CHECK(calls == refused + 2);
    char *held = documentOf(heldBackFile);
    CHECK(strstr(held, "{\"good\":1}") != NULL);
    int count = 0;
    for (const char *next = held; (next = strstr(next, "\"id\":")) != NULL; ++next)
        ++count;
    CHECK(count == 1);
    free(held);
}

TEST(AnyObjectIsAnAddress) {
    beginHost();
    QVNZentaraClient *client = waitingClient();
    __block int calls = 0;
    const struct {
        id address;
        const char *text;
    } cases[] = {
        {[NSURL URLWithString:@"b?c=d" relativeToURL:[NSURL URLWithString:@"https://x.org/a/"]],
         "\"url\":\"https://x.org/a/b?c=d\""},
        {@7, "\"url\":\"7\""},
        {[NSMutableString stringWithString:@"/\"path\""], "\"url\":\"/\\\"path\\\"\""},
        {nil, "\"url\":\"\""},
    };
    for (size_t index = 0; index < sizeof cases / sizeof cases[0]; ++index) {
        const id address = cases[index].address;
        [client sendWithSchemaId:@"s"
            schemaVersion:@"1"
            contentType:@"type"
            url:address
            referer:address
            properties:@{}
            relationId:@"single"
            handler:^(Event *event, ZentaraClientError *error) {
                ++calls;
                CHECK_EQUAL(event.url, address ?: @"");
                CHECK_EQUAL(event.referer, @"");
            }];
        char *held = documentOf(heldBackFile);
        CHECK(strstr(held, cases[index].text) != NULL);
        CHECK(strstr(held, "\"zentaraRelationId\":\"single\"") != NULL);
        CHECK(strstr(held, "\"contentType\":\"type\"") != NULL);
        free(held);
    }
    NSString *line = standardErrorOf(^{
        [client sendWithSchemaId:@"s"
                   schemaVersion:@"1"
                     contentType:@"c"
                             url:[[[Nuisance alloc] init] autorelease]
                         referer:nil
                      properties:nil
                      relationId:nil
                         handler:^(Event *event, ZentaraClientError *error) {
                             ++calls;
                             CHECK([error isMemberOfClass:[EventNotQueuedError class]]);
                             CHECK([event.url isMemberOfClass:[Nuisance class]]);
                         }];
    });
    CHECK_EQUAL(line, @"ZentaraClient: event s not queued: url raised Nuisance: not now\n");
    CHECK(calls == 5);
}

TEST(ABatchGoesOutInOrderWithItsRelation) {
    beginHost();
    QVNZentaraClient *client = waitingClient();
    NSMutableArray *batch = [NSMutableArray arrayWithObjects:eventWith(
                                                                 @{@"number" : @0}),
                                                             @"no event", [Event class],
                                                             eventWith(
                                                                 @{@"number" : @3}),
                                                             nil];
    NSMutableArray *outcomes = [NSMutableArray array];
    standardErrorOf(^{
        [client sendWithEvents:batch
                    relationId:@"batch"
                       handler:^(Event *event, ZentaraClientError *error) {
                           [batch removeAllObjects];
                           CHECK_EQUAL(event.relationId, @"batch");
                           [outcomes addObject:NSStringFromClass([error class])];
                           [outcomes addObject:[event.properties objectForKey:@"number"] ?: @-1];
                       }];
    });
    CHECK_EQUAL(outcomes, (@[
                    @"ZentaraClientNotReady", @0, @"EventNotQueuedError", @-1,
                    @"EventNotQueuedError", @-1, @"ZentaraClientNotReady", @3
                ]));
    [client sendWithEvents:@[]
                relationId:nil
                   handler:^(Event *event, ZentaraClientError *error) {
                       [outcomes removeAllObjects];
                   }];
    CHECK([outcomes count] == 8);
    [client sendWithEvents:nil relationId:nil handler:nil];
    [client sendWithEvents:@[ eventWith(@{@"last" : @YES}) ] relationId:nil handler:nil];
    char *held = documentOf(heldBackFile);
    const char *relation = strstr(held, "\"zentaraRelationId\":\"batch\"");
    CHECK(relation != NULL && strstr(relation + 1, "\"zentaraRelationId\":\"batch\"") != NULL);
    CHECK(strstr(held, "{\"last\":true}") != NULL);
    CHECK(strstr(strstr(held, "{\"last\":true}"), "\"zentaraRelationId\":null") != NULL);
    CHECK(strstr(held, "\"zentaraClientReferer\":\"https://example.com/from\"") != NULL);
    free(held);
}
