#import <Foundation/Foundation.h>

#import <zentara/QVNClientSettings.h>
#import <zentara/QVNDefinitions.h>
#import <zentara/QVNEvent.h>
#import <zentara/QVNEventError.h>
#import <zentara/QVNHostApplication.h>
#import <zentara/QVNShortNames.h>
#import <zentara/QVNZentaraClientStatistics.h>
#import <zentara/QVNZentaraEndpoints.h>

NS_ASSUME_NONNULL_BEGIN

/// The library's one entry point.
///
///     [QVNZentaraClient useSettingsWithTenant:@"my-tenant"
///                          zentaraEnvironment:ZentaraEnvironmentQa
///                               advertisingId:nil];
///     NSError *error = nil;
///     QVNZentaraClient *client =
///         [QVNZentaraClient getAndReturnError:&error
///                               readyCallback:^(ZentaraClientError *failure) {
///                                   // nil: events are validated and queued from now on
///                               }];
///     [client sendWithSchemaId:@"page-view"
///                schemaVersion:@"1"
///                  contentType:@"application/json"
///                          url:[NSURL URLWithString:@"https://example.com/"]
///                      referer:@""
///                   properties:@{@"title" : @"Home"}
///                   relationId:nil
///                      handler:^(Event *event, ZentaraClientError *failure) {
///                          if (failure) NSLog(@"%@", [failure localizedDescription]);
///                      }];
///
/// Every operation may be called from any thread, and from inside the library's blocks. Nothing
/// waits for the network. Blocks are copied before an operation begins and released after their
/// last call. Each call has its own autorelease pool. A block may be nil. An exception that leaves
/// a block is caught and becomes a line of the log.
///
/// Objects of the application are converted during the call that takes them and can be changed
/// afterwards. Strings may hold anything; what is not Unicode becomes U+FFFD. nil in place of a
/// string, a url or a referer is the empty text, in place of a dictionary or an array the empty
/// one.
///
/// Properties are dictionaries with strings for keys, arrays, strings, numbers and `NSNull`, up to
/// the depth that JSON text may have. Integers of 64 bits and booleans arrive as such. An event
/// with anything else in it (a date, NaN, a container within itself, an object that raises an
/// exception when it is read) is not queued: its handler receives an `EventNotQueuedError`, or a
/// `ZentaraClientNotReady` before the schemas have arrived, and a line of the log says why.
/// NaN, infinities and too deep nesting are validated first, as in C++. Other events are not
/// affected.
ZENTARA_SWIFT_NAME("ZentaraClient")
@interface QVNZentaraClient : NSObject {
  @private
    struct zentara_client *_client;
}

/// The client that `getAndReturnError:readyCallback:` returns, or nil; the same that C++ code of
/// this process shares. It is retained, and returned autoreleased. Setting it to nil makes the next
/// get build another one.
@property(class, nonatomic, strong, nullable) QVNZentaraClient *sharedClient;

/// The client of this process, built by the first call; nil and an error before the settings, of
/// the domain `ZentaraClientNotConfiguredErrorDomain`, without a message.
///
/// `readyCallback` belongs to the call that builds: it receives nil each time schemas arrive and an
/// error each time they could not be obtained, on a worker thread or before this returns. If the
/// client exists already, it receives nil at once.
+ (nullable QVNZentaraClient *)
    getAndReturnError:(NSError *_Nullable *_Nullable)error
        readyCallback:(void (^_Nullable)(QVNZentaraClientError *_Nullable error))readyCallback
    ZENTARA_SWIFT_NAME("get(readyCallback:)");

/// Configures the process; called again, replaces the whole record. An unknown environment raises
/// `NSInvalidArgumentException`.
+ (void)useSettingsWithTenant:(NSString *)tenant
           zentaraEnvironment:(ZentaraEnvironment)zentaraEnvironment
                advertisingId:(nullable NSString *)advertisingId
    ZENTARA_SWIFT_NAME("useSettings(tenant:zentaraEnvironment:advertisingId:)");

/// Sets the user whose token goes with the events sent from now on. false and an error before the
/// settings, or of the domain `ZentaraClientInvalidArgumentErrorDomain` when there is no such type
/// of tokens. Does nothing while consent is denied, and returns true.
+ (ZENTARA_BOOL)setLoggedUserWithTokenType:(UserTokenType)tokenType
                                     token:(NSString *)token
                                     error:(NSError *_Nullable *_Nullable)error
    ZENTARA_SWIFT_NAME("setLoggedUser(tokenType:token:)");

/// Forgets the logged user. false and an error before the settings.
+ (ZENTARA_BOOL)removeLoggedUserAndReturnError:(NSError *_Nullable *_Nullable)error
    ZENTARA_SWIFT_NAME("removeLoggedUser()");

/// An event with exactly these values, to be sent later with others. `url` and `referer` may be
/// any objects: a string counts as it is, an `NSURL` as its absolute string, anything else as its
/// description. The event holds a string as a copy, nil as @"".
+ (QVNEvent *)createEventWithSchemaId:(NSString *)schemaId
                        schemaVersion:(NSString *)schemaVersion
                          contentType:(NSString *)contentType
                                  url:(id)url
                              referer:(id)referer
                           properties:(NSDictionary<NSString *, id> *)properties
                           relationId:(nullable NSString *)relationId
    ZENTARA_SWIFT_NAME(
        "createEvent(schemaId:schemaVersion:contentType:url:referer:properties:relationId:)");

/// Reports the stored anonymous token, before it returns: its type, its value and its public
/// value; @"", @"" and nil without a token. false and an error before the settings.
- (ZENTARA_BOOL)getAnonymousUserAndReturnError:(NSError *_Nullable *_Nullable)error
                                  callbackUser:(void (^_Nullable)(NSString *type, NSString *value,
                                                                  NSString *_Nullable publicValue))
                                                   callbackUser
    ZENTARA_SWIFT_NAME("getAnonymousUser(callbackUser:)");

/// Fetches the identity and reports the session token that came with it, on a worker thread: @""
/// when the fetch failed; not at all when it succeeded without one. false and an error before the
/// settings.
- (ZENTARA_BOOL)getHsidAndReturnError:(NSError *_Nullable *_Nullable)error
                         callbackHsid:(void (^_Nullable)(NSString *hsid))callbackHsid
    ZENTARA_SWIFT_NAME("getHsid(callbackHsid:)");

/// Validates, stamps and queues one event. `handler` is called exactly once, on this thread, before
/// this returns; a nil error means that the event is on disk. The handler's event has an empty
/// referer; the queued event has the caller's.
- (void)sendWithSchemaId:(NSString *)schemaId
           schemaVersion:(NSString *)schemaVersion
             contentType:(NSString *)contentType
                     url:(id)url
                 referer:(id)referer
              properties:(NSDictionary<NSString *, id> *)properties
              relationId:(nullable NSString *)relationId
                 handler:(void (^_Nullable)(QVNEvent *event,
                                            QVNZentaraClientError *_Nullable error))handler
    ZENTARA_SWIFT_NAME(
        "send(schemaId:schemaVersion:contentType:url:referer:properties:relationId:handler:)");

/// Sends each event in order, as above, with `relationId` in place of its own, also when nil.
/// `handler` is called once for each. For an object that is not an event it receives an event
/// without values and the error of an event that JSON cannot hold.
- (void)sendWithEvents:(NSArray<QVNEvent *> *)events
            relationId:(nullable NSString *)relationId
               handler:(void (^_Nullable)(QVNEvent *event,
                                          QVNZentaraClientError *_Nullable error))handler
    ZENTARA_SWIFT_NAME("send(events:relationId:handler:)");

/// Lets the shared client deliver up to ten queued events now, for an application's
/// background-fetch hook or to drain the queue. Events stay held back. `completion`
/// receives a `ZentaraBackgroundFetchResult` exactly once, on a worker thread or before this
/// returns.
- (void)performFetchWith:(void (^_Nullable)(NSUInteger result))completion
    ZENTARA_SWIFT_NAME("performFetch(with:)");

/// A separate client without collaborators: events sent through it are refused with a
/// `ZentaraClientNotInitializedError`. The other methods work with the shared client, whatever
/// their receiver. Applications use the client from `getAndReturnError:readyCallback:`.
- (instancetype)init;

@end

NS_ASSUME_NONNULL_END

#import <zentara/QVNConsent.h>
#import <zentara/QVNDelivery.h>
#import <zentara/QVNHooks.h>
