// Blocks: what they retain, when they are released, and what happens to exceptions.

#include <sched.h>

#import "Harness.h"

TEST(BlockIsAnObject) {
    @autoreleasepool {
        Tracked *tracked = [[[Tracked alloc] init] autorelease];
        __block int sum = 0;
        int (^add)(int) = ^(int number) {
            sum += number + ([tracked retainCount] > 0 ? 0 : 1000);
            return sum;
        };
        add(1);
        NSArray *blocks = [NSArray arrayWithObject:[[add copy] autorelease]];
        int (^kept)(int) = [blocks lastObject];
        CHECK(kept(2) == 3);
        void (^nested)(void) = [[^{
            kept(4);
        } copy] autorelease];
        nested();
        CHECK(sum == 7);
        CHECK([kept isKindOfClass:[NSObject class]]);
        int (^global)(void) = ^{
            return 5;
        };
        CHECK([global copy] == global && global() == 5);
        CHECK([Tracked count] == 1);
    }
    CHECK([Tracked count] == 0);
}

TEST(BlockIsReleasedAfterTheCall) {
    @autoreleasepool {
        Tracked *tracked = [[Tracked alloc] init];
        __block int calls = 0;
        SendBlock handler = ^(Event *event, ZentaraClientError *error) {
            if ([tracked retainCount] > 0) ++calls;
            // The pool of this call releases it.
            [[[Tracked alloc] init] autorelease];
        };
        CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:(id)handler] == nil);
        CHECK([tracked retainCount] == 1 && "released without a call");
        QVNZentaraClient *client = waitingClient();
        sendTo(client, nil, nil, handler);
        CHECK([Tracked count] == 1);
        sendTo(client, nil, @"refused", handler);
        CHECK([Tracked count] == 1);
        NSArray *events = @[ eventOf(nil, nil, nil), @"refused" ];
        [client sendWithEvents:events relationId:nil handler:handler];
        CHECK([Tracked count] == 1);
        CHECK(calls == 4);
        CHECK([tracked retainCount] == 1);
        [tracked release];
    }
    CHECK([Tracked count] == 0);
}

TEST(ExceptionOfABlockIsReported) {
    QVNZentaraClient *client = waitingClient();
    NSString *lines = standardErrorOf(^{
        @autoreleasepool {
            Tracked *tracked = [[[Tracked alloc] init] autorelease];
            id raise = ^{
                [tracked self];
                // The pool of this call releases it.
                [[[Tracked alloc] init] autorelease];
                [NSException raise:@"Host" format:@"two\nlines"];
            };
            sendTo(client, nil, nil, raise);
            [client sendWithEvents:@[ eventOf(nil, nil, nil) ] relationId:nil handler:raise];
            [QVNZentaraClient getAndReturnError:NULL
                                  readyCallback:^(ZentaraClientError *error) {
                                      @throw tracked;
                                  }];
            [client getAnonymousUserAndReturnError:NULL callbackUser:raise];
            [client performFetchWith:raise];
            [client getHsidAndReturnError:NULL callbackHsid:raise];
        }
        // Workers release their blocks after the calls.
        while ([Tracked count] != 0)
            sched_yield();
    });
    NSArray *places = @[
        @"the block for the anonymous user: Host: two lines",
        @"the block for the fetch: Host: two lines",
        @"the block for the session token: Host: two lines",
        @"the handler of an event: Host: two lines", @"the handler of an event: Host: two lines",
        @"the ready block: Tracked"
    ];
    NSArray *sorted =
        [[lines componentsSeparatedByString:@"\n"] sortedArrayUsingSelector:@selector(compare:)];
    NSString *separator = @"\nZentaraClient: exception in ";
    CHECK_EQUAL([sorted componentsJoinedByString:@"\n"],
                [separator stringByAppendingString:[places componentsJoinedByString:separator]]);
}
