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

static inline Event *eventOf(NSString *text, id address, NSDictionary *properties) {
    return [QVNZentaraClient createEventWithSchemaId:text
                                       schemaVersion:text
                                         contentType:text
                                                 url:address
                                             referer:address
                                          properties:properties
                                          relationId:text];
}

static inline void sendTo(QVNZentaraClient *client, id address, id properties, SendBlock handler) {
    [client sendWithSchemaId:@"page-view"
               schemaVersion:@"1"
                 contentType:@"application/json"
                         url:address
                     referer:address
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
