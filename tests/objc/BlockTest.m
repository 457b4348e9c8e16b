// Blocks: what they keep, when they go, and what becomes of what they raise.

#include <sched.h>

#import "Harness.h"
#import "Host.h"
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

TEST(AHandlerAndWhatItHoldsGoWithTheSend) {
    beginHost();
    QVNZentaraClient *client = waitingClient();
    @autoreleasepool {
        Tracked *tracked = [[Tracked alloc] init];
        void (^handler)(Event *, ZentaraClientError *) =
            ^(Event *event, ZentaraClientError *error) {
                CHECK([tracked retainCount] > 0);
                // Goes with the pool of this call.
                [[[Tracked alloc] init] autorelease];
            };
        sendProperties(client, @{}, handler);
        CHECK([Tracked count] == 1);
        sendProperties(client, @{@"no" : [NSDate date]}, handler);
        CHECK([Tracked count] == 1);
        [client sendWithEvents:@[ eventWith(nil), eventWith(nil), (Event *)@"none" ]
                    relationId:nil
                       handler:handler];
        CHECK([Tracked count] == 1);
        CHECK([tracked retainCount] == 1);
        [tracked release];
    }
    CHECK([Tracked count] == 0);
}

TEST(ABlockThatIsNeverCalledIsReleased) {
    beginHost();
    @autoreleasepool {
        Tracked *tracked = [[[Tracked alloc] init] autorelease];
        [QVNZentaraClient getAndReturnError:NULL
                              readyCallback:^(ZentaraClientError *error) {
                                  CHECK([tracked retainCount] == 0);
                              }];
    }
    CHECK([Tracked count] == 0);
}

TEST(TheReadyBlockLearnsThatThereAreNoSchemas) {
    beginHost();
    configure();
    Latch *latch = [[[Latch alloc] init] autorelease];
    [QVNZentaraClient getAndReturnError:NULL
                          readyCallback:^(ZentaraClientError *error) {
                              if ([error isMemberOfClass:[SchemasInitializationError class]])
                                  [latch signal];
                          }];
    CHECK([latch waitForCount:1]);
}

/// Passes a block that ends with `raise` to one of the methods that take one.
static void passBlock(size_t method, QVNZentaraClient *client, void (^raise)(void)) {
    switch (method) {
        case 0:
            sendProperties(client, nil, ^(Event *event, ZentaraClientError *error) {
                raise();
            });
            break;
        case 1:
            [client sendWithEvents:@[ eventWith(nil) ]
                        relationId:nil
                           handler:^(Event *event, ZentaraClientError *error) {
                               raise();
                           }];
            break;
        case 2:
            [QVNZentaraClient getAndReturnError:NULL
                                  readyCallback:^(ZentaraClientError *error) {
                                      raise();
                                  }];
            break;
        case 3:
            [client getAnonymousUserAndReturnError:NULL
                                      callbackUser:^(NSString *type, NSString *value,
                                                     NSString *publicValue) {
                                          raise();
                                      }];
            break;
        case 4:
            [client performFetchWith:^(NSUInteger result) {
                raise();
            }];
            break;
        default:
            [client getHsidAndReturnError:NULL
                             callbackHsid:^(NSString *hsid) {
                                 raise();
                             }];
    }
}

TEST(AnExceptionEndsWhereTheBlockDoes) {
    beginHost();
    QVNZentaraClient *client = waitingClient();
    NSString *places[] = {@"the handler of an event", @"the handler of an event",
                          @"the ready block",         @"the block for the anonymous user",
                          @"the block for the fetch", @"the block for the session token"};
    for (size_t index = 0; index < 2 * sizeof places / sizeof places[0]; ++index) {
        const bool isException = index % 2 == 0;
        NSString *lines = standardErrorOf(^{
            @autoreleasepool {
                Tracked *tracked = [[[Tracked alloc] init] autorelease];
                passBlock(index / 2, client, ^{
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
        NSString *expected =
            [NSString stringWithFormat:@"ZentaraClient: exception in %@: %@\n", places[index / 2],
                                       isException ? @"Host: two lines" : @"NSObject"];
        CHECK_EQUAL(lines, expected);
    }
    CHECK([QVNZentaraClient sharedClient] == client);
}

TEST(AHandlerMaySend) {
    beginHost();
    QVNZentaraClient *client = waitingClient();
    __block int calls = 0;
    sendProperties(
        client,
        @{@"outer" : @1},
        ^(Event *outer, ZentaraClientError *outerError) {
            ++calls;
            sendProperties(
                client,
                @{@"inner" : @2},
                ^(Event *inner, ZentaraClientError *error) {
                    ++calls;
                    CHECK_EQUAL(
                        inner.properties,
                        @{@"inner" : @2});
                });
            CHECK_EQUAL(
                outer.properties,
                @{@"outer" : @1});
        });
    CHECK(calls == 2);
}

/// Sends from a thread of its own, and keeps what it gets.
@interface Sending : NSObject
@end

@implementation Sending

+ (void)send:(NSArray *)latchAndEvents {
    @autoreleasepool {
        Latch *latch = [latchAndEvents objectAtIndex:0];
        NSMutableArray *events = [latchAndEvents objectAtIndex:1];
        Tracked *tracked = [[[Tracked alloc] init] autorelease];
        NSThread *thread = [NSThread currentThread];
        for (int number = 0; number < 50; ++number) {
            sendProperties([QVNZentaraClient sharedClient], @{@"number" : @(number)},
                           ^(Event *event, ZentaraClientError *error) {
                               CHECK([NSThread currentThread] == thread);
                               CHECK([tracked retainCount] > 0);
                               @synchronized(events) {
                                   [events addObject:event];
                               }
                               [latch signal];
                           });
        }
    }
}

@end

TEST(ThreadsMaySendAtOnce) {
    enum { threads = 4, each = 50 };
    beginHost();
    waitingClient();
    Latch *latch = [[[Latch alloc] init] autorelease];
    NSMutableArray *events = [NSMutableArray array];
    for (int thread = 0; thread < threads; ++thread) {
        [NSThread detachNewThreadSelector:@selector(send:)
                                 toTarget:[Sending class]
                               withObject:@[ latch, events ]];
    }
    CHECK([latch waitForCount:threads * each]);
    @synchronized(events) {
        CHECK([events count] == threads * each);
        int sum = 0;
        for (Event *event in events)
            sum += [[event.properties objectForKey:@"number"] intValue];
        CHECK(sum == threads * each * (each - 1) / 2);
    }
}
