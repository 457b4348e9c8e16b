#pragma once

#import <zentara/QVNZentaraClient.h>

#include "Host.h"

// A small harness. Each test runs in a process of its own, because the shared client, the settings
// and the endpoints belong to the process.

/// TEST(NameOfWhatHolds) { ... }
#define TEST(name)                                          \
    __attribute__((visibility("default"))) void name(void); \
    void name(void)

/// Reports a condition that does not hold, and goes on.
#define CHECK(...) checkThat((__VA_ARGS__) ? true : false, #__VA_ARGS__, __FILE__, __LINE__)

/// The same for objects, with both in the report.
#define CHECK_EQUAL(found, expected) checkEqual(found, expected, __FILE__, __LINE__)

void checkThat(bool holds, const char *condition, const char *file, int line);
void checkEqual(id found, id expected, const char *file, int line);

/// What the code writes to standard error, without the lines on services that are not reached.
NSString *standardErrorOf(void (^code)(void));

/// Runs the code in several threads at once, with stacks of this size; 0 for the default.
void inThreads(int count, size_t stackSize, void (^code)(void));

/// Whether the code, run in a child process, aborts it and names this cause.
bool isFatal(NSString *cause, void (^code)(void));

/// Counts the objects of its class that exist.
@interface Tracked : NSObject
+ (int)count;
@end

#define COUNT_OF(array) (sizeof(array) / sizeof(array)[0])

typedef void (^SendBlock)(Event *, ZentaraClientError *);

static inline void configure(void) {
    [QVNZentaraClient useSettingsWithTenant:@"tenänt"
                         zentaraEnvironment:ZentaraEnvironmentQa
                              advertisingId:@"ad"];
}

/// A client of a new host whose schemas never come, so that its events are held back, on disk.
static inline QVNZentaraClient *waitingClient(void) {
    beginHost();
    configure();
    return [QVNZentaraClient getAndReturnError:NULL readyCallback:nil];
}

/// An event with a value of its own for every argument; without an id also without a relation.
static inline Event *eventOf(NSString *schemaId, id url, NSDictionary *properties) {
    return [QVNZentaraClient createEventWithSchemaId:schemaId
                                       schemaVersion:@"7"
                                         contentType:@"own/type"
                                                 url:url
                                             referer:@"own referer"
                                          properties:properties
                                          relationId:schemaId ? @"own relation" : nil];
}

static inline void sendTo(QVNZentaraClient *client, id url, id properties, SendBlock handler) {
    [client sendWithSchemaId:@"page-view"
               schemaVersion:@"1"
                 contentType:@"application/json"
                         url:url
                     referer:@"sent referer"
                  properties:properties
                  relationId:@"single"
                     handler:handler];
}

static inline NSString *taken(char *text) {
    return [[[NSString alloc] initWithBytesNoCopy:text
                                           length:strlen(text)
                                         encoding:NSUTF8StringEncoding
                                     freeWhenDone:YES] autorelease];
}

/// The file of the events that are held back.
static inline NSString *heldBack(void) {
    return taken(documentOf("unvalidated-events-storage"));
}

static inline bool contains(NSString *text, NSString *part) {
    return [text rangeOfString:part].length > 0;
}
