// Blocks: what they keep, when they go, and what becomes of what they raise.

#include <sched.h>

#import "Samples.h"

TEST(ABlockIsAnObject) {
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

TEST(ABlockAndWhatItHoldsGoWithTheCall) {
    @autoreleasepool {
        Tracked *tracked = [[Tracked alloc] init];
        __block int calls = 0;
        SendBlock handler = ^(Event *event, ZentaraClientError *error) {
            if ([tracked retainCount] > 0) ++calls;
            // Goes with the pool of this call.
            [[[Tracked alloc] init] autorelease];
        };
        CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:(id)handler] == nil);
        CHECK([tracked retainCount] == 1 && "never called, and released");
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

/// Passes a block to one of the methods that take one; where the library says that it was.
static NSString *passBlock(int method, QVNZentaraClient *client, id block) {
    switch (method) {
        case 0:
            sendTo(client, nil, nil, block);
            return @"the handler of an event";
        case 1:
            [client sendWithEvents:@[ eventOf(nil, nil, nil) ] relationId:nil handler:block];
            return @"the handler of an event";
        case 2:
            [QVNZentaraClient getAndReturnError:NULL readyCallback:block];
            return @"the ready block";
        case 3:
            [client getAnonymousUserAndReturnError:NULL callbackUser:block];
            return @"the block for the anonymous user";
        case 4:
            [client performFetchWith:block];
            return @"the block for the fetch";
        default:
            [client getHsidAndReturnError:NULL callbackHsid:block];
            return @"the block for the session token";
    }
}

TEST(AnExceptionEndsWhereTheBlockDoes) {
    QVNZentaraClient *client = waitingClient();
    for (int method = 0; method < 6; ++method) {
        const bool isException = method % 2 == 0;
        __block NSString *place = nil;
        NSString *lines = standardErrorOf(^{
            @autoreleasepool {
                Tracked *tracked = [[[Tracked alloc] init] autorelease];
                place = passBlock(method, client, ^{
                    [tracked self];
                    // Goes with the pool of this call.
                    [[[Tracked alloc] init] autorelease];
                    if (isException) [NSException raise:@"Host" format:@"two\nlines"];
                    @throw [NSObject class];
                });
            }
            // A worker lets go of its block after the call.
            while ([Tracked count] != 0)
                sched_yield();
        });
        CHECK_EQUAL(lines,
                    ([NSString stringWithFormat:@"ZentaraClient: exception in %@: %@\n", place,
                                                isException ? @"Host: two lines" : @"NSObject"]));
    }
    CHECK([QVNZentaraClient sharedClient] == client);
}
