// The calls in Objective-C. With the URL of a collector and a folder, the events are sent.

#import "objc/events.h"

#include <zentara/zentara.h>

#include <stdio.h>

/// Prints a value as JSON.
static void print(id value) {
    if ([value isKindOfClass:[NSNull class]]) {
        printf("null");
    } else if ([value isKindOfClass:[NSNumber class]]) {
        const char type = *[value objCType];
        if (type == *@encode(BOOL) && [value isEqual:@YES] | [value isEqual:@NO]) {
            printf([value boolValue] ? "true" : "false");
        } else if (type == 'd' || type == 'f') {
            printf("%.17g", [value doubleValue]);
        } else if (type == 'Q') {
            printf("%llu", [value unsignedLongLongValue]);
        } else {
            printf("%lld", [value longLongValue]);
        }
    } else if ([value isKindOfClass:[NSString class]]) {
        NSData *data = [value dataUsingEncoding:NSUTF8StringEncoding];
        const unsigned char *bytes = [data bytes];
        putchar('"');
        for (NSUInteger i = 0; i < [data length]; ++i)
            printf(bytes[i] < ' ' || bytes[i] == '"' || bytes[i] == '\\' ? "\\u%04x" : "%c",
                   bytes[i]);
        putchar('"');
    } else {
        const bool isObject = [value isKindOfClass:[NSDictionary class]];
        const char *separator = "";
        putchar(isObject ? '{' : '[');
        for (id element in value) {
            printf("%s", separator);
            separator = ",";
            print(element);
            if (!isObject) continue;
            putchar(':');
            print([value objectForKey:element]);
        }
        putchar(isObject ? '}' : ']');
    }
}

/// In place of the client: prints each event on a line.
@interface Printer : NSObject
@end

@implementation Printer

- (void)sendWithSchemaId:(NSString *)schemaId
           schemaVersion:(NSString *)schemaVersion
             contentType:(NSString *)contentType
                     url:(id)url
                 referer:(id)referer
              properties:(NSDictionary *)properties
              relationId:(NSString *)relationId
                 handler:(void (^)(QVNEvent *event, QVNZentaraClientError *error))handler {
    (void)contentType, (void)referer, (void)relationId, (void)handler;
    printf("%s %s %s ", [schemaId UTF8String], [schemaVersion UTF8String],
           [[url absoluteString] UTF8String]);
    print(properties);
    putchar('\n');
}

@end

#include "objc/calls.inc"

static QVNZentaraClient *clientFor(NSString *collector, NSString *folder) {
    [QVNHostApplication setDocumentsDirectory:folder];
    [QVNHostApplication setPreferencesDirectory:folder];
    QVNZentaraEndpoints *endpoints = [[[QVNZentaraEndpoints alloc] init] autorelease];
    endpoints.qaCollector = endpoints.qaSchemas = collector;
    [endpoints use];
    [QVNZentaraClient useSettingsWithTenant:@"typed"
                         zentaraEnvironment:ZentaraEnvironmentQa
                              advertisingId:nil];
    QVNZentaraClient *client = [QVNZentaraClient getAndReturnError:NULL readyCallback:nil];
    while (!zentara_is_ready())
        [NSThread sleepForTimeInterval:0.01];
    return client;
}

int main(int argc, char **argv) {
    @autoreleasepool {
        if (argc == 3) {
            callAll(clientFor(@(argv[1]), @(argv[2])));
            zentara_shutdown(30000, NULL);
        } else {
            callAll([[Printer alloc] init]);
        }
    }
    return 0;
}
