// One storage for both languages, and one object for one client.

#import "Harness.h"

/// A client whose deallocation is counted.
@interface CountedClient : QVNZentaraClient {
    Tracked *_tracked;
}
@end

@implementation CountedClient

- (instancetype)init {
    self = [super init];
    _tracked = [[Tracked alloc] init];
    return self;
}

- (void)dealloc {
    // The table of objects is not locked now.
    [QVNZentaraClient sharedClient];
    [_tracked release];
    [super dealloc];
}

@end

TEST(ClientIsSharedWithCPlusPlus) {
    QVNZentaraClient *client = nil;
    @autoreleasepool {
        client = waitingClient();
    }
    CHECK([client init] == client && "init returns the client");
    CHECK([QVNZentaraClient sharedClient] == client);
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == client);
    keepClientInCPlusPlus();
    [client retain];
    QVNZentaraClient.sharedClient = nil;
    CHECK([QVNZentaraClient sharedClient] == nil);
    QVNZentaraClient *another = [QVNZentaraClient getAndReturnError:NULL readyCallback:nil];
    CHECK(another != nil && another != client);
    shareKeptClient();
    CHECK([QVNZentaraClient sharedClient] == client);
    [client release];
}

TEST(SharedClientIsRetainedUntilReplaced) {
    @autoreleasepool {
        QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
    }
    CHECK([Tracked count] == 1);
    @autoreleasepool {
        CHECK([[QVNZentaraClient sharedClient] isMemberOfClass:[CountedClient class]]);
        QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
    }
    CHECK([Tracked count] == 1);
    QVNZentaraClient.sharedClient = nil;
    CHECK([Tracked count] == 0);
    // As a failed initialiser does.
    [[CountedClient alloc] release];
}

TEST(PlainClientReportsNotInitialized) {
    beginHost();
    configure();
    QVNZentaraClient *plain = [[[QVNZentaraClient alloc] init] autorelease];
    NSMutableArray *outcomes = [NSMutableArray array];
    SendBlock handler = ^(Event *event, ZentaraClientError *error) {
        [outcomes addObject:NSStringFromClass([error class])];
    };
    sendTo(plain, nil, nil, handler);
    sendTo(plain, nil, @"refused", handler);
    [plain sendWithEvents:@[ eventOf(nil, nil, nil) ] relationId:nil handler:handler];

    QVNZentaraClient.sharedClient = plain;
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == plain);
    CHECK([QVNZentaraClient removeLoggedUserAndReturnError:NULL]);
    id noteUser = ^(NSString *type, NSString *value, NSString *publicValue) {
        [outcomes addObject:[NSString stringWithFormat:@"'%@' '%@' %@", type, value, publicValue]];
    };
    id noteHsid = ^(NSString *hsid) {
        [outcomes addObject:hsid];
    };
    CHECK([plain getAnonymousUserAndReturnError:NULL callbackUser:noteUser]);
    CHECK([plain getHsidAndReturnError:NULL callbackHsid:noteHsid]);
    [plain performFetchWith:nil];
    [plain performFetchWith:^(NSUInteger result) {
        [outcomes addObject:@(result)];
    }];
    NSString *error = @"QVNZentaraClientNotInitializedError";
    CHECK_EQUAL(outcomes, (@[ error, error, error, @"'' '' (null)", @"", @2 ]));
    CHECK([QVNZentaraClientStatistics current].refusedNotInitialized == 3);
}

TEST(EventHasOneDictionaryForAllThreads) {
    enum { count = 2000 };
    static id seen[4][count];
    NSMutableArray *events = [NSMutableArray array];
    while ([events count] < count)
        [events addObject:eventOf(
                              nil, nil,
                              @{@"a" : @[ @1, @2, @3 ]})];
    __block _Atomic(int) nextThread = 0;
    inThreads(4, 0, ^{
        id *mine = seen[nextThread++];
        for (size_t index = 0; index < count; ++index)
            mine[index] = [[events objectAtIndex:index] properties];
    });
    for (size_t index = 0; index < count; ++index)
        CHECK(seen[0][index] == seen[1][index] && seen[2][index] == seen[3][index] &&
              seen[0][index] == seen[2][index]);
}

/// Threads share, find and release clients while others release the last references.
TEST(ThreadsShareAndReleaseClients) {
    @autoreleasepool {
        // This pool releases the client's object, so that a later reference is its last.
        @autoreleasepool {
            waitingClient();
            keepClientInCPlusPlus();
        }
        id contend = ^{
            NSThread *thread = [NSThread currentThread];
            __block int calls = 0;
            SendBlock handler = ^(Event *event, ZentaraClientError *error) {
                if ([NSThread currentThread] == thread) ++calls;
            };
            for (int round = 0; round < 20000; ++round) {
                @autoreleasepool {
                    if (round % 10 == 0) {
                        QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
                    }
                    // Releases the shared object. Only threads that have just found it hold it.
                    shareKeptClient();
                    QVNZentaraClient *client = [QVNZentaraClient sharedClient];
                    CHECK([client isKindOfClass:[QVNZentaraClient class]]);
                    if (round % 100 == 0) sendTo(client, nil, nil, handler);
                }
            }
            CHECK(calls == 200);
        };
        inThreads(4, 0, contend);
        QVNZentaraClient.sharedClient = nil;
    }
    CHECK([Tracked count] == 0);
}
