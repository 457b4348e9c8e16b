#import <zentara/QVNZentaraClient.h>

NS_ASSUME_NONNULL_BEGIN

typedef NS_ENUM(NSInteger, ZentaraLogLevel) {
    ZentaraLogLevelInfo = 0,     ///< what became of an event
    ZentaraLogLevelWarning = 1,  ///< a failure that the library goes on with, and its end
    ZentaraLogLevelFatal = 2,    ///< the process ends
};

/// One line that the library would print. Immutable.
ZENTARA_SWIFT_NAME("LogLine")
@interface QVNLogLine : NSObject {
  @private
    ZentaraLogLevel _level;
    NSString *_component;
    NSString *_text;
}

@property(nonatomic, readonly) ZentaraLogLevel level;
/// @"schemas", @"identity", @"delivery", @"storage" or @"client".
@property(nonatomic, readonly, copy) NSString *component;
@property(nonatomic, readonly, copy) NSString *text;

@end

/// An event on its way to the queue. What is set is taken over when the block returns.
ZENTARA_SWIFT_NAME("OutgoingEvent")
@interface QVNOutgoingEvent : NSObject {
  @private
    QVNEvent *_event;
    NSString *_actionUUID;
    NSDictionary *_properties;
    NSString *_url;
    NSString *_referer;
}

@property(nonatomic, readonly, strong) QVNEvent *event;  ///< as it was sent, with an empty referer
@property(nonatomic, readonly, copy) NSString *actionUUID;
/// Those of the event, merged over the global properties.
@property(nonatomic, copy) NSDictionary<NSString *, id> *properties;
@property(nonatomic, copy) NSString *url;
@property(nonatomic, copy) NSString *referer;

@end

typedef NS_ENUM(NSInteger, ZentaraEventDecision) {
    ZentaraEventDecisionQueue = 0,  ///< validate and queue the event as it is now
    /// Its handler receives an `EventDroppedError`. Any other value drops the event, too.
    ZentaraEventDecisionDrop = 1,
};

typedef NS_ENUM(NSInteger, ZentaraValidationOutcome) {
    ZentaraValidationOutcomeValid = 0,
    ZentaraValidationOutcomeInvalid = 1,  ///< the messages say why
    ZentaraValidationOutcomeUnknownSchema = 2,
    ZentaraValidationOutcomeNotReady = 3,  ///< the schemas have not arrived yet
};

/// What a schema says of properties that were not sent. Immutable.
ZENTARA_SWIFT_NAME("ValidationReport")
@interface QVNValidationReport : NSObject {
  @private
    ZentaraValidationOutcome _outcome;
    NSArray *_messages;
}

@property(nonatomic, readonly) ZentaraValidationOutcome outcome;
@property(nonatomic, readonly, copy) NSArray<NSString *> *messages;

@end

/// Blocks and values of the application. They hold for the process, may be set at any moment from
/// any thread, and replace what was set before. nil removes a block.
@interface QVNZentaraClient (Hooks)

/// Hands every line that the library would print, of this level or above, to the block, on a
/// worker. With a block nothing is printed: the empty block `^(QVNLogLine *line) {}` keeps the
/// library silent. A fatal line comes on the thread that fails; the block must not call the library
/// then.
+ (void)setLogSinkWithLevel:(ZentaraLogLevel)least
                       sink:(void (^_Nullable)(QVNLogLine *line))sink
    ZENTARA_SWIFT_NAME("setLogSink(level:sink:)");

/// Sets the block that sees each event before it is queued, on the thread that sends it; several
/// threads call it at once. An exception refuses the event, and its handler receives a
/// `BeforeQueueError`; so do properties that JSON cannot hold.
+ (void)setBeforeQueue:(ZentaraEventDecision (^_Nullable)(QVNOutgoingEvent *outgoing))block
    ZENTARA_SWIFT_NAME("setBeforeQueue(_:)");

/// Sets the properties that every event gets, unless it has one of that name itself. nil removes
/// them. Properties that JSON cannot hold raise `NSInvalidArgumentException`.
+ (void)setGlobalProperties:(nullable NSDictionary<NSString *, id> *)properties
    ZENTARA_SWIFT_NAME("setGlobalProperties(_:)");

/// Sets the schemas that the application brings: a table as the schemas service answers it, in
/// UTF-8. A client that is built later begins with it unless there is a cache of schemas, so that
/// it is ready at its first start without a network. nil: none. The data is kept until the process
/// ends.
+ (void)setBundledSchemas:(nullable NSData *)table ZENTARA_SWIFT_NAME("setBundledSchemas(_:)");

/// For development builds: with true, an event that its schema refuses ends the process.
+ (void)setFailFast:(ZENTARA_BOOL)enabled ZENTARA_SWIFT_NAME("setFailFast(_:)");

/// Starts a new context with the next event when nothing was sent for so many seconds; not with
/// less than one.
+ (void)setSessionTimeout:(NSTimeInterval)timeout ZENTARA_SWIFT_NAME("setSessionTimeout(_:)");

/// What a send would say of these properties. Sends nothing and calls no block. Properties that
/// JSON cannot hold raise `NSInvalidArgumentException`.
- (QVNValidationReport *)validateWithSchemaId:(NSString *)schemaId
                                schemaVersion:(NSString *)schemaVersion
                                   properties:(NSDictionary<NSString *, id> *)properties
    ZENTARA_SWIFT_NAME("validate(schemaId:schemaVersion:properties:)");

/// Sends one event with its own relation id; nothing for nil.
- (void)sendEvent:(QVNEvent *)event
          handler:
              (void (^_Nullable)(QVNEvent *event, QVNZentaraClientError *_Nullable error))handler
    ZENTARA_SWIFT_NAME("send(_:handler:)");

@end

NS_ASSUME_NONNULL_END
