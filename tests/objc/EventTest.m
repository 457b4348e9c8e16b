// Events and their values: passed to the library, read back, and on disk.

#import "Harness.h"

/// Raises an exception at each call.
@interface Nuisance : NSDictionary
@end

@implementation Nuisance
- (NSString *)description {
    [NSException raise:@"Nuisance" format:@"not\nnow"];
    return nil;
}
- (NSEnumerator *)keyEnumerator {
    return [@[ @"key" ] objectEnumerator];
}
- (id)objectForKey:(id)key {
    return [self description];
}
@end

static NSString *stringOf(const unichar units[3]) {
    // Unit by unit, because Foundation's initialisers refuse what is not Unicode.
    return [NSString stringWithFormat:@"%C%C%C", units[0], units[1], units[2]];
}

static id nested(id value, int depth) {
    for (int level = 0; level < depth; ++level)
        value = @[ value ];
    return value;
}

TEST(EventKeepsCopiesOfItsValues) {
    NSArray *names = [@"schemaId schemaVersion contentType url referer relationId"
        componentsSeparatedByString:@" "];
    NSMutableString *texts[6];
    for (size_t index = 0; index < COUNT_OF(texts); ++index)
        texts[index] = [NSMutableString stringWithString:[names objectAtIndex:index]];
    NSDictionary *given = @{
        @"null" : [NSNull null],
        @"list" : @[ @[], @{}, @[ @1, @"two",
                                  @{@"three" : @[ @YES ]} ],
                     [NSNull null] ],
        @"" : @{@"ключ" : @"значение", @"deep" : nested(@"x", 508)},
    };
    NSMutableArray *list = [NSMutableArray arrayWithObject:given];
    NSMutableDictionary *properties = [NSMutableDictionary dictionaryWithObject:list forKey:@"a"];
    Event *event = [QVNZentaraClient createEventWithSchemaId:texts[0]
                                               schemaVersion:texts[1]
                                                 contentType:texts[2]
                                                         url:texts[3]
                                                     referer:texts[4]
                                                  properties:properties
                                                  relationId:texts[5]];
    for (size_t index = 0; index < COUNT_OF(texts); ++index)
        [texts[index] appendString:@", later"];
    [list addObject:@2];
    [properties setObject:@"later" forKey:@"b"];
    for (NSString *name in names)
        CHECK_EQUAL([event valueForKey:name], name);
    CHECK([event.properties count] == 1);
    CHECK_EQUAL([event.properties objectForKey:@"a"], @[ given ]);
    CHECK(![event.properties isKindOfClass:[NSMutableDictionary class]]);

    Event *empty = eventOf(nil, nil, nil);
    CHECK_EQUAL(empty.url, @"");
    CHECK(empty.relationId == nil);
}

TEST(NumbersKeepTheirKindAndValue) {
    const struct {
        NSNumber *number;
        char type;  ///< of its encoding; B for a boolean
        NSString *text;
    } cases[] = {
        {@9007199254740993, 'q', @"9007199254740993"},
        {@(LLONG_MIN), 'q', @"-9223372036854775808"},
        {@(ULLONG_MAX), 'Q', @"18446744073709551615"},
        {[NSDecimalNumber decimalNumberWithString:@"7"], 'q', @"7"},
        {[NSNumber numberWithChar:-1], 'q', @"-1"},
        {@0.1, 'd', @"0.1"},
        {@-0.0, 'd', @"-0.0"},
        {@3.0, 'd', @"3.0"},
        {[NSDecimalNumber decimalNumberWithString:@"12345678901234567890"], 'Q',
         @"12345678901234567890"},
        {[NSDecimalNumber decimalNumberWithString:@"-9223372036854775808"], 'q',
         @"-9223372036854775808"},
        {[NSDecimalNumber decimalNumberWithString:@"0.5"], 'd', @"0.5"},
        {@YES, 'B', @"true"},
        {[NSNumber numberWithBool:false], 'B', @"false"},
        {@1, 'q', @"1"},
    };
    QVNZentaraClient *client = waitingClient();
    for (size_t index = 0; index < COUNT_OF(cases); ++index) {
        NSDictionary *properties = @{@"value" : cases[index].number};
        NSNumber *found = [eventOf(nil, nil, properties).properties objectForKey:@"value"];
        const char type = cases[index].type;
        if (type == 'q' || type == 'Q') CHECK_EQUAL([found stringValue], cases[index].text);
        if (type == 'd') CHECK([found doubleValue] == [cases[index].number doubleValue]);
        CHECK([found isKindOfClass:[@YES class]] == (type == 'B'));
        // GNUstep stores all small integers in one size.
        CHECK((*[found objCType] == 'd') == (type == 'd'));
        CHECK((*[found objCType] == 'Q') == (type == 'Q'));
        sendTo(client, nil, properties, nil);
    }
    NSString *held = heldBack();
    for (size_t index = 0; index < COUNT_OF(cases); ++index)
        CHECK(contains(held, [NSString stringWithFormat:@":{\"value\":%@}", cases[index].text]));
}

TEST(LoneSurrogatesAreReplaced) {
    const struct {
        unichar given[3];
        unichar found[3];
    } cases[] = {
        {{'a', 0, 'b'}, {'a', 0, 'b'}},
        {{0xD83D, 0xDE00, 'x'}, {0xD83D, 0xDE00, 'x'}},
        {{'a', 0xD83D, 'b'}, {'a', 0xFFFD, 'b'}},
        {{'a', 0xDE00, 0xD83D}, {'a', 0xFFFD, 0xFFFD}},
        {{0xD83D, 0xD83D, 0xDE00}, {0xFFFD, 0xD83D, 0xDE00}},
        {{0xFEFF, 'b', 0xFFFF}, {0xFEFF, 'b', 0xFFFF}},
        {{0xFFFE, 0x7FF, 0x800}, {0xFFFE, 0x7FF, 0x800}},
    };
    for (size_t index = 0; index < COUNT_OF(cases); ++index) {
        NSString *given = stringOf(cases[index].given);
        NSString *expected = stringOf(cases[index].found);
        Event *event = eventOf(given, nil, [NSDictionary dictionaryWithObject:given forKey:given]);
        CHECK_EQUAL(event.schemaId, expected);
        CHECK_EQUAL([event.properties allKeys], @[ expected ]);
        CHECK_EQUAL([event.properties allValues], @[ expected ]);
    }
}

TEST(ValuesThatJSONCannotHoldAreRefused) {
    NSMutableArray *cycle = [NSMutableArray array];
    const id itself = cycle;
    [cycle addObject:itself];
    NSArray *exponential = @[ @1 ];
    for (int level = 0; level < 60; ++level)
        exponential = @[ exponential, exponential ];
    const unichar likeKeys[2][3] = {{'a', 'b', 0xD800}, {'a', 'b', 0xDC00}};
    NSDictionary *alike = @{stringOf(likeKeys[0]) : @1, stringOf(likeKeys[1]) : @2};
    const struct {
        id value;
        NSString *reason;
    } cases[] = {
        {[NSDate date], @".x is an object of class"},
        {@[ @1, @{@"b" : [NSData data]} ], @".x[1].b is an object of class"},
        {@(NAN), @".x is a number that is not finite"},
        {@(-INFINITY), @".x is a number that is not finite"},
        {[NSDecimalNumber notANumber], @".x is a number that is not finite"},
        {@{@7 : @"x"}, @".x is a key of class"},
        {cycle, @".x[0] is a container in itself"},
        {nested([NSDate date], 60), @"...[0][0][0]"},
        {alike, @".x is a dictionary whose keys are equal"},
        {exponential, @"too many values"},
        {nested(@1, 509), @"[0][0][0] is nested too deeply"},
        {nested(@[], 511), @"nested too deeply"},
        {nested(@[], 100000), @"nested too deeply"},
        {[[[Nuisance alloc] init] autorelease], @" raised Nuisance: not now"},
    };
    QVNZentaraClient *client = waitingClient();
    NSMutableArray *refused = [NSMutableArray array];
    SendBlock isRefused = ^(Event *event, ZentaraClientError *error) {
        [refused addObject:event];
        CHECK([error isMemberOfClass:[ZentaraClientNotReady class]]);
        CHECK_EQUAL([error localizedDescription],
                    @"Zentara Client is not Ready! Event not queued: page-view.");
        CHECK_EQUAL(event.schemaId, @"page-view");
        CHECK_EQUAL(event.relationId, @"single");
        CHECK_EQUAL(event.referer, @"");
    };
    for (size_t index = 0; index < COUNT_OF(cases); ++index) {
        NSDictionary *properties = [NSDictionary dictionaryWithObject:cases[index].value
                                                               forKey:@"x"];
        NSString *line = standardErrorOf(^{
            sendTo(client, nil, properties, isRefused);
        });
        CHECK([line hasPrefix:@"ZentaraClient: event page-view not queued: properties"]);
        CHECK(contains(line, cases[index].reason));
        CHECK([[line componentsSeparatedByString:@"\n"] count] == 2 && "one line");
        CHECK([refused count] == index + 1);
    }
    [cycle removeAllObjects];
    NSString *lines = standardErrorOf(^{
        sendTo(client, nil, @"a string", isRefused);
        sendTo(client, [[[Nuisance alloc] init] autorelease], nil, isRefused);
        // Such an event keeps its values and is refused when it is sent.
        NSDictionary *dates = @{@"when" : [NSDate dateWithTimeIntervalSince1970:0]};
        Event *event = eventOf(@"page-view", nil, dates);
        CHECK_EQUAL(event.properties, dates);
        Event *notFinite = eventOf(
            @"page-view", nil,
            @{@"x" : @(NAN)});
        [client sendWithEvents:@[ event, notFinite, [refused objectAtIndex:0] ]
                    relationId:@"single"
                       handler:isRefused];
    });
    CHECK([refused count] == COUNT_OF(cases) + 5);
    CHECK(contains(lines, @"not queued: properties.x is a number that is not finite\n"));
    CHECK(contains(lines, @"not queued: url raised Nuisance: not now\n"));
    lines = standardErrorOf(^{
        inThreads(1, 96 * 1024, ^{
            sendTo(
                client, nil,
                @{@"x" : nested(@1, 400)}, isRefused);
        });
    });
    CHECK(contains(lines, @"is too much for the thread's stack\n"));
    CHECK_EQUAL(heldBack(), @"");
    CHECK([QVNZentaraClientStatistics current].refusedNotEncodable == (int64_t)[refused count]);
}

TEST(BatchKeepsItsOrderAndRelation) {
    QVNZentaraClient *client = waitingClient();
    NSURL *url = [NSURL URLWithString:@"b?c" relativeToURL:[NSURL URLWithString:@"http://x/a/"]];
    NSMutableArray *batch =
        [NSMutableArray arrayWithObjects:eventOf(@"own", url, nil), @"no event", [Event class],
                                         eventOf(@"own", @7, nil), nil];
    NSMutableArray *outcomes = [NSMutableArray array];
    SendBlock note = ^(Event *event, ZentaraClientError *error) {
        [batch removeAllObjects];
        CHECK_EQUAL(event.relationId, @"batch");
        [outcomes addObject:event.url];
        [outcomes addObject:[error localizedDescription]];
    };
    standardErrorOf(^{
        [client sendWithEvents:batch relationId:@"batch" handler:note];
    });
    NSString *isNot = @"Zentara Client is not Ready! Event not queued: .";
    NSString *isHeldBack = @"Zentara Client is not Ready! Event queued to be sent later: own.";
    CHECK_EQUAL(outcomes, (@[ url, isHeldBack, @"", isNot, @"", isNot, @7, isHeldBack ]));
    CHECK([heldBack() hasPrefix:@"[{\"id\":\"own\",\"version\":\"7\",\"url\":\"http://x/a/b?c\","
                                 "\"contentType\":\"own/type\",\"properties\":{},"]);
    CHECK(contains(heldBack(), @"\"zentaraClientReferer\":\"own referer\""));
    CHECK(contains(heldBack(), @"\"zentaraRelationId\":\"batch\""));
    CHECK(contains(heldBack(), @"\"url\":\"7\""));
    [client sendWithEvents:nil relationId:nil handler:nil];
    [client sendWithEvents:@[ eventOf(@"own", nil, nil) ] relationId:nil handler:nil];
    CHECK(contains(heldBack(), @"\"zentaraRelationId\":null"));
}
