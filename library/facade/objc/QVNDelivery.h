#import <zentara/QVNZentaraClient.h>

NS_ASSUME_NONNULL_BEGIN

/// How queued events are delivered. As it is made, ten events leave every ten seconds, each post on
/// a connection of its own. <zentara/DeliveryPolicy.h> documents the members.
ZENTARA_SWIFT_NAME("DeliveryPolicy")
@interface QVNDeliveryPolicy : NSObject {
  @private
    bool _continueAtOnce, _compressBodies, _backOff, _isolateRefused, _reuseConnections;
    int64_t _largestBodySize;
}

@property(nonatomic) ZENTARA_BOOL continueAtOnce;
/// In bytes before compression; 0 is no limit.
@property(nonatomic) int64_t largestBodySize;
@property(nonatomic) ZENTARA_BOOL compressBodies;
@property(nonatomic) ZENTARA_BOOL backOff;
@property(nonatomic) ZENTARA_BOOL isolateRefused;
@property(nonatomic) ZENTARA_BOOL reuseConnections;

@end

typedef NS_ENUM(NSInteger, ZentaraFlushOutcome) {
    ZentaraFlushOutcomeEmpty = 0,     ///< nothing is left but events that were passed over
    ZentaraFlushOutcomeFailed = 1,    ///< a batch was not delivered
    ZentaraFlushOutcomeDeadline = 2,  ///< the deadline came first
    ZentaraFlushOutcomeRefused = 3,   ///< wrong use
};

/// What a flush achieved. Immutable.
ZENTARA_SWIFT_NAME("FlushResult")
@interface QVNFlushResult : NSObject {
  @private
    ZentaraFlushOutcome _outcome;
    int64_t _delivered, _waiting, _heldBack;
    NSString *_lastFailure;
}

@property(nonatomic, readonly) ZentaraFlushOutcome outcome;
@property(nonatomic, readonly) int64_t delivered;  ///< acknowledged by the collector
@property(nonatomic, readonly) int64_t waiting;    ///< left in the queue
@property(nonatomic, readonly) int64_t heldBack;   ///< still waiting for their schemas
/// Why the last batch was not delivered; @"" when none failed.
@property(nonatomic, readonly, copy) NSString *lastFailure;

@end

typedef NS_ENUM(NSInteger, ZentaraDeliveryKind) {
    ZentaraDeliveryKindDelivered = 0,
    ZentaraDeliveryKindEvicted = 1,  ///< the oldest of too many
    ZentaraDeliveryKindDropped = 2,  ///< refused by its schema, or removed at the user's will
    ZentaraDeliveryKindRefused = 3,  ///< refused by the collector while alone, and passed over
};

/// What became of some events after they were sent. Immutable.
ZENTARA_SWIFT_NAME("DeliveryNotice")
@interface QVNDeliveryNotice : NSObject {
  @private
    ZentaraDeliveryKind _kind;
    NSArray *_actionUUIDs;
    NSString *_reason;
}

@property(nonatomic, readonly) ZentaraDeliveryKind kind;
/// In the order of the queue, lower case.
@property(nonatomic, readonly, copy) NSArray<NSString *> *actionUUIDs;
@property(nonatomic, readonly, copy) NSString *reason;  ///< @"" for delivered events

@end

/// Delivery on demand, for the shared client. Times are in seconds; a negative deadline counts as
/// 0.
@interface QVNZentaraClient (Delivery)

/// Like `useSettingsWithTenant:zentaraEnvironment:advertisingId:`, with a policy; nil for the
/// default.
+ (void)useSettingsWithTenant:(NSString *)tenant
           zentaraEnvironment:(ZentaraEnvironment)zentaraEnvironment
                advertisingId:(nullable NSString *)advertisingId
                     delivery:(nullable QVNDeliveryPolicy *)delivery
    ZENTARA_SWIFT_NAME("useSettings(tenant:zentaraEnvironment:advertisingId:delivery:)");

/// Delivers batch after batch until the queue is empty, a batch fails, or the deadline has passed.
/// Held-back events that the schemas allow by now are queued first. `completion` is called exactly
/// once, on a worker. Without an identity, the flush first waits for one attempt to fetch it. Where
/// nothing can be posted, as while delivery is paused, the flush of a queue that is not empty fails
/// at once.
+ (void)flushWithDeadline:(NSTimeInterval)deadline
               completion:(void (^_Nullable)(QVNFlushResult *result))completion
    ZENTARA_SWIFT_NAME("flush(deadline:completion:)");

/// Ends the library's work: refuses events from now on, flushes until the deadline, and forgets the
/// settings and the blocks of the application. When it returns, no block runs, unless one has not
/// returned by then: the outcome is then `ZentaraFlushOutcomeDeadline`. May be called twice and by
/// several threads. In a block it does nothing: the outcome is `ZentaraFlushOutcomeRefused`.
+ (QVNFlushResult *)shutdownWithDeadline:(NSTimeInterval)deadline
    ZENTARA_SWIFT_NAME("shutdown(deadline:)");

/// Posts no events until `resumeDelivery`, in this process. Events are queued. Any thread.
+ (void)pauseDelivery ZENTARA_SWIFT_NAME("pauseDelivery()");
+ (void)resumeDelivery ZENTARA_SWIFT_NAME("resumeDelivery()");
/// Posts those events again that were passed over because the collector refused them alone.
+ (void)retryRefused ZENTARA_SWIFT_NAME("retryRefused()");

/// Sets the block that is told what becomes of events, on a worker, one call after the other. nil
/// removes it.
+ (void)setDeliveryObserver:(void (^_Nullable)(QVNDeliveryNotice *notice))observer
    ZENTARA_SWIFT_NAME("setDeliveryObserver(_:)");

@end

NS_ASSUME_NONNULL_END
