// The smallest host application in Objective-C: one event, from the call to the collector.
//
//     zentara-collector --port 8080 --schemas examples/schemas &
//     minimal-objc http://127.0.0.1:8080 http://127.0.0.1:8080

#import <zentara/QVNZentaraClient.h>

#include <stdio.h>

/// Lets one thread wait for what a block reports on another.
@interface Report : NSObject {
    NSCondition *_condition;
    NSNumber *_value;
}
- (void)put:(NSUInteger)value;
/// The value, or nil if it did not arrive within half a minute.
- (NSNumber *)wait;
@end

@implementation Report

- (instancetype)init {
    self = [super init];
    _condition = [[NSCondition alloc] init];
    return self;
}

- (void)dealloc {
    [_condition release];
    [_value release];
    [super dealloc];
}

- (void)put:(NSUInteger)value {
    [_condition lock];
    [_value release];
    _value = [[NSNumber alloc] initWithUnsignedInteger:value];
    [_condition signal];
    [_condition unlock];
}

- (NSNumber *)wait {
    NSDate *end = [NSDate dateWithTimeIntervalSinceNow:30];
    [_condition lock];
    while (_value == nil && [_condition waitUntilDate:end])
        continue;
    NSNumber *value = [[_value retain] autorelease];
    [_condition unlock];
    return value;
}

@end

static int run(const char *collector, const char *schemas) {
    // Once, when the application starts.
    QVNZentaraEndpoints *endpoints = [[[QVNZentaraEndpoints alloc] init] autorelease];
    endpoints.qaCollector = @(collector);
    endpoints.qaSchemas = @(schemas);
    [endpoints use];
    [QVNZentaraClient useSettingsWithTenant:@"my-tenant"
                         zentaraEnvironment:ZentaraEnvironmentQa
                              advertisingId:nil];
    NSError *error = nil;
    Report *ready = [[[Report alloc] init] autorelease];
    QVNZentaraClient *client = [QVNZentaraClient
        getAndReturnError:&error
            readyCallback:^(ZentaraClientError *failure) {
                if (failure == nil) {
                    [ready put:1];
                } else {
                    fprintf(stderr, "%s\n", [[failure localizedDescription] UTF8String]);
                }
            }];
    if (client == nil) {
        fprintf(stderr, "%s\n", [[error localizedDescription] UTF8String]);
        return 1;
    }
    if ([ready wait] == nil) return 1;

    // Whenever something happens.
    [client sendWithSchemaId:@"page-view"
               schemaVersion:@"1"
                 contentType:@"application/json"
                         url:[NSURL URLWithString:@"https://example.com/"]
                     referer:@""
                  properties:@{@"title" : @"Home", @"section" : @"home", @"language" : @"en"}
                  relationId:nil
                     handler:^(Event *event, ZentaraClientError *failure) {
                         NSString *outcome = failure ? [failure localizedDescription] : @"queued";
                         printf("%s: %s\n", [event.schemaId UTF8String], [outcome UTF8String]);
                     }];

    // The library delivers every ten seconds. A program that ends flushes first.
    Report *flushed = [[[Report alloc] init] autorelease];
    [QVNZentaraClient flushWithDeadline:10
                             completion:^(QVNFlushResult *result) {
                                 if ([result.lastFailure length] > 0)
                                     fprintf(stderr, "%s\n", [result.lastFailure UTF8String]);
                                 [flushed put:result.outcome];
                             }];
    NSNumber *outcome = [flushed wait];
    if (outcome == nil || [outcome unsignedIntegerValue] != ZentaraFlushOutcomeEmpty) {
        fprintf(stderr, "the event waits for the next run\n");
        return 1;
    }
    printf("delivered\n");
    return 0;
}

int main(int argc, char **argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: minimal-objc COLLECTOR_URL SCHEMAS_URL\n");
        return 2;
    }
    @autoreleasepool {
        return run(argv[1], argv[2]);
    }
}
