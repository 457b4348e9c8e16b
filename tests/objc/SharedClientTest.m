// One storage for both languages, and one object for one client.

#import "Harness.h"
#import "Samples.h"

/// A client whose end can be seen.
@interface CountedClient : QVNZentaraClient {
    Tracked *_tracked;
}
- (instancetype)initInVain;
@end

@implementation CountedClient

- (instancetype)init {
    self = [super init];
    _tracked = [[Tracked alloc] init];
    return self;
}

- (instancetype)initInVain {
    [self release];
    return nil;
}

- (void)dealloc {
    // Looks for others while it goes.
    [QVNZentaraClient sharedClient];
    [_tracked release];
    [super dealloc];
}

@end

TEST(AClientIsSharedWithCPlusPlus) {
    QVNZentaraClient *client = [waitingClient() retain];
    CHECK(client != nil);
    CHECK([QVNZentaraClient sharedClient] == client);
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == client);
    keepClientInCPlusPlus();

    QVNZentaraClient.sharedClient = nil;
    CHECK(!isSharedInCPlusPlus());
    getInCPlusPlus();
    QVNZentaraClient *another = [QVNZentaraClient sharedClient];
    CHECK(another != nil && another != client);

    shareKeptClient();
    CHECK([QVNZentaraClient sharedClient] == client);
    resetSharedClientInCPlusPlus();
    CHECK([QVNZentaraClient sharedClient] == nil);
    [client release];
}

TEST(TheSharedClientIsRetainedAndTheOneBeforeReleased) {
    @autoreleasepool {
        QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
    }
    CHECK([Tracked count] == 1);
    @autoreleasepool {
        CHECK([[QVNZentaraClient sharedClient] isMemberOfClass:[CountedClient class]]);
        QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
    }
    CHECK([Tracked count] == 1);
    resetSharedClientInCPlusPlus();
    CHECK([Tracked count] == 0);
    CHECK([[CountedClient alloc] initInVain] == nil);
}

TEST(TheClientInUseNeedsNoRetaining) {
    QVNZentaraClient *client = nil;
    @autoreleasepool {
        client = waitingClient();
    }
    CHECK([client init] == client);
    __block bool isHeldBack = false;
    sendTo(client, nil, nil, ^(Event *event, ZentaraClientError *error) {
        isHeldBack = [error isMemberOfClass:[ZentaraClientNotReady class]];
    });
    CHECK(isHeldBack);
    CHECK([QVNZentaraClient sharedClient] == client);
}

TEST(APlainClientSendsNothingAndSaysSo) {
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
    CHECK([plain
        getAnonymousUserAndReturnError:NULL
                          callbackUser:^(NSString *type, NSString *value, NSString *no) {
                              [outcomes addObjectsFromArray:@[ type, value, @(no == nil) ]];
                          }]);
    CHECK([plain getHsidAndReturnError:NULL
                          callbackHsid:^(NSString *value) {
                              [outcomes addObject:value];
                          }]);
    [plain performFetchWith:^(NSUInteger result) {
        [outcomes addObject:@(result)];
    }];
    NSString *error = @"ZentaraClientNotInitializedError";
    NSNumber *failed = @(ZentaraBackgroundFetchResultFailed);
    CHECK_EQUAL(outcomes, (@[ error, error, error, @"", @"", @1, @"", failed ]));
}

/// Threads that share, look and let go, while each other's last references go.
TEST(ThreadsMayShareAndLetGoAtWill) {
    @autoreleasepool {
        // The client's object is to go with this pool, or no later reference would be its last.
        @autoreleasepool {
            waitingClient();
            keepClientInCPlusPlus();
        }
        onThreads(4, ^{
            for (int round = 0; round < 20000; ++round) {
                @autoreleasepool {
                    if (round % 10 == 0) {
                        QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
                    }
                    // Takes the shared object's last reference but the ones of threads that have
                    // just found it.
                    shareKeptClient();
                    QVNZentaraClient *client = [QVNZentaraClient sharedClient];
                    CHECK([client isKindOfClass:[QVNZentaraClient class]]);
                    if (round % 100 == 0) sendTo(client, nil, nil, nil);
                }
            }
        });
        QVNZentaraClient.sharedClient = nil;
    }
    CHECK([Tracked count] == 0);
}
