// One storage for both languages, and one object for one client.

#import "Harness.h"
#import "Host.h"
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
    beginHost();
    CHECK([QVNZentaraClient sharedClient] == nil);
    QVNZentaraClient *client = waitingClient();
    CHECK(client != nil);
    CHECK([QVNZentaraClient sharedClient] == client);
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == client);
    CHECK(sharedClientOfCPlusPlus() != NULL);

    QVNZentaraClient.sharedClient = nil;
    CHECK(sharedClientOfCPlusPlus() == NULL);
    getInCPlusPlus();
    QVNZentaraClient *another = [QVNZentaraClient sharedClient];
    CHECK(another != nil && another != client);

    QVNZentaraClient.sharedClient = client;
    CHECK([QVNZentaraClient sharedClient] == client);
    resetSharedClientInCPlusPlus();
    CHECK([QVNZentaraClient sharedClient] == nil);
}

TEST(AClientThatCPlusPlusKeepsIsTheSameObjectForAsLongAsThatLives) {
    beginHost();
    QVNZentaraClient *client = [waitingClient() retain];
    keepClientInCPlusPlus();
    resetSharedClientInCPlusPlus();
    CHECK([QVNZentaraClient sharedClient] == nil);
    shareKeptClient();
    CHECK([QVNZentaraClient sharedClient] == client);
    [client release];
    letGoOfKeptClient();
}

TEST(TheSharedClientIsRetainedAndTheOneBeforeReleased) {
    beginHost();
    @autoreleasepool {
        CountedClient *client = [[CountedClient alloc] init];
        QVNZentaraClient.sharedClient = client;
        [client release];
    }
    CHECK([Tracked count] == 1);
    @autoreleasepool {
        CHECK([[QVNZentaraClient sharedClient] isMemberOfClass:[CountedClient class]]);
        QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
    }
    CHECK([Tracked count] == 1);
    resetSharedClientInCPlusPlus();
    CHECK([Tracked count] == 0);
}

TEST(TheClientInUseNeedsNoRetaining) {
    beginHost();
    QVNZentaraClient *client = nil;
    @autoreleasepool {
        client = waitingClient();
    }
    CHECK([client init] == client);
    __block bool isHeldBack = false;
    sendProperties(client, @{}, ^(Event *event, ZentaraClientError *error) {
        isHeldBack = [error isMemberOfClass:[ZentaraClientNotReady class]];
    });
    CHECK(isHeldBack);
    CHECK([QVNZentaraClient sharedClient] == client);
}

TEST(APlainClientSendsNothingAndSaysSo) {
    beginHost();
    configure();
    QVNZentaraClient *plain = [[[QVNZentaraClient alloc] init] autorelease];
    __block int calls = 0;
    void (^handler)(Event *, ZentaraClientError *) = ^(Event *event, ZentaraClientError *error) {
        ++calls;
        CHECK_EQUAL(event.schemaId, @"page-view");
        CHECK([error isMemberOfClass:[ZentaraClientNotInitializedError class]]);
    };
    sendProperties(plain, @{}, handler);
    sendProperties(plain, @{@"refused" : [NSDate date]}, handler);
    [plain sendWithEvents:@[ eventWith(nil), eventWith(nil) ] relationId:nil handler:handler];
    CHECK(calls == 4);

    QVNZentaraClient.sharedClient = plain;
    CHECK([QVNZentaraClient getAndReturnError:NULL readyCallback:nil] == plain);
    CHECK([QVNZentaraClient removeLoggedUserAndReturnError:NULL]);
    __block NSString *user = nil;
    __block NSString *hsid = nil;
    __block NSUInteger fetched = 99;
    CHECK([plain getAnonymousUserAndReturnError:NULL
                                   callbackUser:^(NSString *type, NSString *value, NSString *no) {
                                       user = [[NSString alloc]
                                           initWithFormat:@"%@|%@|%d", type, value, no == nil];
                                   }]);
    CHECK([plain getHsidAndReturnError:NULL
                          callbackHsid:^(NSString *value) {
                              hsid = [value copy];
                          }]);
    [plain performFetchWith:^(NSUInteger result) {
        fetched = result;
    }];
    CHECK_EQUAL([user autorelease], @"||1");
    CHECK_EQUAL([hsid autorelease], @"");
    CHECK(fetched == ZentaraBackgroundFetchResultFailed);
}

TEST(OnlyClientsCanBeShared) {
    beginHost();
    CHECK([[CountedClient alloc] initInVain] == nil);
    bool hasRaised = false;
    @try {
        QVNZentaraClient.sharedClient = (QVNZentaraClient *)(id) @"a string";
    } @catch (NSException *exception) {
        hasRaised = [[exception name] isEqual:NSInvalidArgumentException];
    }
    CHECK(hasRaised);
    CHECK([QVNZentaraClient sharedClient] == nil);
}

/// Threads that share, look and let go, while each other's last references go.
@interface Contender : NSObject
@end

@implementation Contender

+ (void)contend:(Latch *)latch {
    for (int round = 0; round < 20000; ++round) {
        @autoreleasepool {
            if (round % 10 == 0) {
                QVNZentaraClient.sharedClient = [[[CountedClient alloc] init] autorelease];
            }
            // Takes the shared object's last reference but the ones of threads that have just
            // found it.
            shareKeptClient();
            QVNZentaraClient *client = [QVNZentaraClient sharedClient];
            CHECK([client isKindOfClass:[QVNZentaraClient class]]);
            if (round % 100 == 0) sendProperties(client, @{@"round" : @(round)}, nil);
        }
    }
    [latch signal];
}

@end

TEST(ThreadsMayShareAndLetGoAtWill) {
    enum { threads = 4 };
    beginHost();
    @autoreleasepool {
        Latch *latch = [[[Latch alloc] init] autorelease];
        // The client's object is to go with this pool, or no later reference would be its last.
        @autoreleasepool {
            waitingClient();
            keepClientInCPlusPlus();
        }
        for (int thread = 0; thread < threads; ++thread) {
            [NSThread detachNewThreadSelector:@selector(contend:)
                                     toTarget:[Contender class]
                                   withObject:latch];
        }
        CHECK([latch waitForCount:threads]);
        QVNZentaraClient.sharedClient = nil;
        letGoOfKeptClient();
    }
    CHECK([Tracked count] == 0);
}
