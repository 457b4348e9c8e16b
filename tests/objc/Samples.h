#pragma once

#import <zentara/QVNZentaraClient.h>

#import "Harness.h"
#include "Host.h"

// What the tests say over and over.

#define COUNT_OF(array) (sizeof(array) / sizeof(array)[0])

typedef void (^SendBlock)(Event *, ZentaraClientError *);

static inline void configure(void) {
    [QVNZentaraClient useSettingsWithTenant:@"tenänt"
                         zentaraEnvironment:ZentaraEnvironmentQa
                              advertisingId:@"ad"];
}

/// A client of a new host whose schemas never come: what is sent is held back, on disk.
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
