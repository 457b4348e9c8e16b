#import "facade/objc/Internal.h"

@implementation QVNDeliveryPolicy

@synthesize continueAtOnce = _continueAtOnce, largestBodySize = _largestBodySize,
            compressBodies = _compressBodies, backOff = _backOff, isolateRefused = _isolateRefused,
            reuseConnections = _reuseConnections;

@end

@implementation QVNFlushResult

@synthesize outcome = _outcome, delivered = _delivered, waiting = _waiting, heldBack = _heldBack,
            lastFailure = _lastFailure;

- (instancetype)initWithRecord:(const zentara_flush_result *)record {
    self = [super init];
    _outcome = record->outcome;
    _delivered = record->delivered;
    _waiting = record->waiting;
    _heldBack = record->held_back;
    _lastFailure = [zentaraString(record->last_failure) retain];
    return self;
}

- (void)dealloc {
    [_lastFailure release];
    [super dealloc];
}

@end

static QVNFlushResult *flushResult(const zentara_flush_result *record) {
    return [[[QVNFlushResult alloc] initWithRecord:record] autorelease];
}

@implementation QVNDeliveryNotice

@synthesize kind = _kind, actionUUIDs = _actionUUIDs, reason = _reason;

- (instancetype)initWithRecord:(const zentara_delivery_notice *)record {
    self = [super init];
    _kind = record->kind;
    _actionUUIDs = [zentaraStrings(record->action_uuids, record->count) retain];
    _reason = [zentaraString(record->reason) retain];
    return self;
}

- (void)dealloc {
    [_actionUUIDs release];
    [_reason release];
    [super dealloc];
}

@end

static void callFlushed(void *block, const zentara_flush_result *result) {
    zentaraCallHost("the block for the flush", ^{
        ((void (^)(QVNFlushResult *))(id)block)(flushResult(result));
    });
}

static void callObserver(void *block, const zentara_delivery_notice *notice) {
    zentaraCallHost("the delivery observer", ^{
        ((void (^)(QVNDeliveryNotice *))(id)block)(
            [[[QVNDeliveryNotice alloc] initWithRecord:notice] autorelease]);
    });
}

@implementation QVNZentaraClient (Delivery)

+ (void)useSettingsWithTenant:(NSString *)tenant
           zentaraEnvironment:(ZentaraEnvironment)zentaraEnvironment
                advertisingId:(NSString *)advertisingId
                     delivery:(QVNDeliveryPolicy *)delivery {
    zentara_delivery_policy policy = ZENTARA_INIT(zentara_delivery_policy);
    policy.continue_at_once = delivery.continueAtOnce;
    policy.largest_body_size = delivery.largestBodySize;
    policy.compress_bodies = delivery.compressBodies;
    policy.back_off = delivery.backOff;
    policy.isolate_refused = delivery.isolateRefused;
    policy.reuse_connections = delivery.reuseConnections;
    zentaraUseSettings(tenant, zentaraEnvironment, advertisingId, &policy, _cmd);
}

+ (void)flushWithDeadline:(NSTimeInterval)deadline
               completion:(void (^)(QVNFlushResult *))completion {
    zentara_flush(zentaraMilliseconds(deadline), completion == nil ? NULL : callFlushed,
                  zentaraCopyBlock(completion), zentaraReleaseHeldBlock);
}

+ (QVNFlushResult *)shutdownWithDeadline:(NSTimeInterval)deadline {
    zentara_flush_result result = ZENTARA_INIT(zentara_flush_result);
    zentara_shutdown(zentaraMilliseconds(deadline), &result);
    return flushResult(&result);
}

+ (void)pauseDelivery {
    zentara_pause_delivery();
}

+ (void)resumeDelivery {
    zentara_resume_delivery();
}

+ (void)retryRefused {
    zentara_retry_refused();
}

+ (void)setDeliveryObserver:(void (^)(QVNDeliveryNotice *))observer {
    zentara_set_delivery_observer(observer == nil ? NULL : callObserver, zentaraCopyBlock(observer),
                                  zentaraReleaseHeldBlock);
}

@end
