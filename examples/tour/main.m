// The same steps as in main.cpp, in Objective-C.

#import <zentara/QVNZentaraClient.h>

#include <semaphore.h>
#include <stdio.h>

static const NSTimeInterval deadline = 20;

static void print(NSString *line) {
    puts([line UTF8String]);
}

static void sendProperties(QVNZentaraClient *client, NSString *step, NSDictionary *properties) {
    [client sendWithSchemaId:@"page-view"
               schemaVersion:@"1"
                 contentType:@"application/json"
                         url:[@"https://example.com/" stringByAppendingString:step]
                     referer:[@"https://example.org/" stringByAppendingString:step]
                  properties:properties
                  relationId:nil
                     handler:^(QVNEvent *event, QVNZentaraClientError *error) {
                         (void)event;
                         NSString *outcome = @"queued";
                         if (error != nil)
                             outcome = [NSString stringWithFormat:@"%ld %@", (long)[error code],
                                                                  [error localizedDescription]];
                         print([NSString stringWithFormat:@"%@: %@", step, outcome]);
                     }];
}

static void sendPage(QVNZentaraClient *client, NSString *step) {
    sendProperties(client, step, @{@"title" : step, @"section" : @"home", @"language" : @"en"});
}

static void tell(NSString *step, QVNFlushResult *result) {
    print([NSString stringWithFormat:@"%@: outcome %ld, %lld held back, %@", step,
                                     (long)result.outcome, (long long)result.heldBack,
                                     result.lastFailure]);
}

static void flush(NSString *step) {
    __block sem_t flushed;
    sem_init(&flushed, 0, 0);
    __block QVNFlushResult *achieved = nil;
    [QVNZentaraClient flushWithDeadline:deadline
                             completion:^(QVNFlushResult *result) {
                                 achieved = [result retain];
                                 sem_post(&flushed);
                             }];
    sem_wait(&flushed);
    tell(step, achieved);
    [achieved release];
}

static void run(NSString *collector, NSString *folder) {
    [QVNZentaraClient setLogSinkWithLevel:ZentaraLogLevelFatal
                                     sink:^(QVNLogLine *line) {
                                         (void)line;
                                     }];

    // 1: configure
    [QVNHostApplication setBundleIdentifier:@"languages"];
    [QVNHostApplication setDocumentsDirectory:folder];
    [QVNHostApplication setPreferencesDirectory:folder];
    QVNZentaraEndpoints *endpoints = [[[QVNZentaraEndpoints alloc] init] autorelease];
    endpoints.qaCollector = collector;
    endpoints.qaSchemas = collector;
    [endpoints use];
    QVNDeliveryPolicy *delivery = [[[QVNDeliveryPolicy alloc] init] autorelease];
    delivery.continueAtOnce = true;
    delivery.compressBodies = true;
    delivery.reuseConnections = true;
    [QVNZentaraClient useSettingsWithTenant:@"languages"
                         zentaraEnvironment:ZentaraEnvironmentQa
                              advertisingId:@"advertising-1"
                                   delivery:delivery];

    // 2: pending consent
    printf("pending: %d\n", [QVNZentaraClient setConsent:ZentaraConsentPending]);
    __block sem_t ready;
    sem_init(&ready, 0, 0);
    NSError *failure = nil;
    QVNZentaraClient *client = [QVNZentaraClient getAndReturnError:&failure
                                                     readyCallback:^(QVNZentaraClientError *error) {
                                                         if (error == nil) sem_post(&ready);
                                                     }];
    sendPage(client, @"held back");

    // 3: grant
    printf("granted: %d\n", [QVNZentaraClient setConsent:ZentaraConsentGranted]);
    sem_wait(&ready);

    // 4 and 5: send valid and invalid
    sendPage(client, @"valid");
    sendProperties(
        client, @"invalid",
        @{@"title" : @7});

    // 6: global properties
    [QVNZentaraClient setGlobalProperties:@{@"section" : @"help", @"language" : @"en"}];
    sendProperties(client, @"global", @{@"title" : @"global"});

    // 7: drop
    [QVNZentaraClient setBeforeQueue:^(QVNOutgoingEvent *outgoing) {
        if ([[outgoing.properties objectForKey:@"title"] isEqual:@"drop"])
            return ZentaraEventDecisionDrop;
        outgoing.referer = @"https://example.net/changed";
        return ZentaraEventDecisionQueue;
    }];
    sendProperties(client, @"drop", @{@"title" : @"drop"});
    sendProperties(client, @"changed", @{@"title" : @"changed"});
    [QVNZentaraClient setBeforeQueue:nil];
    [QVNZentaraClient setGlobalProperties:nil];

    // 8 to 10: pause, resume, flush
    [QVNZentaraClient pauseDelivery];
    sendPage(client, @"paused");
    flush(@"flush while paused");
    [QVNZentaraClient resumeDelivery];
    flush(@"flush");

    // 11: logged user
    [QVNZentaraClient setLoggedUserWithTokenType:UserTokenTypeGuest token:@"user-1" error:NULL];
    sendPage(client, @"user");
    flush(@"flush of the user");

    // 12: validate
    for (NSString *message in [client validateWithSchemaId:@"page-view"
                                             schemaVersion:@"1"
                                                properties:@{
                                                    @"title" : @7
                                                }]
             .messages)
        print([@"validate: " stringByAppendingString:message]);

    // 13: forget
    printf("forgotten: %d\n", [QVNZentaraClient forgetUser]);
    sendPage(client, @"forgotten");
    flush(@"flush after forgetting");

    // 14: deny
    [QVNZentaraClient pauseDelivery];
    sendPage(client, @"discarded");
    printf("denied: %d\n", [QVNZentaraClient setConsent:ZentaraConsentDenied]);
    sendPage(client, @"refused");

    // 15: shutdown
    tell(@"shutdown", [QVNZentaraClient shutdownWithDeadline:deadline]);
    sendPage(client, @"too late");

    QVNZentaraClientStatistics *counts = [QVNZentaraClientStatistics current];
    for (NSString *name in @[
             @"accepted", @"heldBack", @"refusedInvalid", @"refusedConsent", @"refusedShutDown",
             @"droppedByHook", @"released", @"delivered", @"discarded", @"waiting", @"inFlight",
             @"heldBackWaiting"
         ])
        print([NSString stringWithFormat:@"%@ %@", name, [counts valueForKey:name]]);
}

int main(int argc, char **argv) {
    if (argc != 3) return 2;
    @autoreleasepool {
        run(@(argv[1]), @(argv[2]));
    }
    return 0;
}
