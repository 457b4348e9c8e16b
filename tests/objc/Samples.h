#pragma once

#import <zentara/QVNZentaraClient.h>

// What the tests say over and over.

static inline void configure(void) {
    [QVNZentaraClient useSettingsWithTenant:@"tenant"
                         zentaraEnvironment:ZentaraEnvironmentQa
                              advertisingId:nil];
}

/// A client whose schemas never come: what is sent is held back, on disk.
static inline QVNZentaraClient *waitingClient(void) {
    configure();
    return [QVNZentaraClient getAndReturnError:NULL readyCallback:nil];
}

static inline Event *eventWith(NSDictionary *properties) {
    return [QVNZentaraClient createEventWithSchemaId:@"page-view"
                                       schemaVersion:@"1"
                                         contentType:@"application/json"
                                                 url:@"https://example.com/"
                                             referer:@"https://example.com/from"
                                          properties:properties
                                          relationId:@"own"];
}

static inline void sendProperties(QVNZentaraClient *client, id properties,
                                  void (^handler)(Event *, ZentaraClientError *)) {
    [client sendWithSchemaId:@"page-view"
               schemaVersion:@"1"
                 contentType:@"application/json"
                         url:@"https://example.com/"
                     referer:@"https://example.com/from"
                  properties:properties
                  relationId:nil
                     handler:handler];
}
