#import <Foundation/Foundation.h>

#import <zentara/QVNDefinitions.h>

NS_ASSUME_NONNULL_BEGIN

/// The last failure of a part of the library. Immutable.
ZENTARA_SWIFT_NAME("ZentaraClientFailure")
@interface QVNZentaraClientFailure : NSObject {
  @private
    NSString *_text;
    int64_t _time;
    int64_t _inARow;
}

/// In words, with the host, status or system error; @"" while nothing has failed.
@property(nonatomic, readonly, copy) NSString *text;
/// Of the failure, in milliseconds since 1970-01-01 UTC; 0 without one.
@property(nonatomic, readonly) int64_t time;
/// Failures since the last success; 0 when the part has recovered.
@property(nonatomic, readonly) int64_t inARow;

@end

/// What became of the events of this process since it started, at the moment of the call of
/// `current`. Immutable. <zentara/ZentaraClientStatistics.h> says how the counts balance.
ZENTARA_SWIFT_NAME("ZentaraClientStatistics")
@interface QVNZentaraClientStatistics : NSObject {
  @private
    int64_t _accepted, _heldBack, _notSaved, _heldBackNotSaved, _refusedNotInitialized,
        _refusedInvalid, _refusedUnknownSchema, _refusedNotEncodable, _refusedConsent,
        _refusedShutDown, _refusedByHook, _droppedByHook, _released, _droppedInvalid,
        _droppedUnknownSchema, _heldBackEvicted, _heldBackDiscarded, _delivered, _evicted,
        _discarded, _batchesDelivered, _batchesFailed, _restored, _heldBackRestored, _waiting,
        _inFlight, _passedOver, _heldBackWaiting;
    QVNZentaraClientFailure *_schemasFailure, *_identityFailure, *_deliveryFailure,
        *_storageFailure;
}

/// Any thread.
+ (QVNZentaraClientStatistics *)current ZENTARA_SWIFT_NAME("current()");

// What the sends did.
@property(nonatomic, readonly) int64_t accepted;          ///< queued and on disk: no error
@property(nonatomic, readonly) int64_t heldBack;          ///< on disk until the schemas are there
@property(nonatomic, readonly) int64_t notSaved;          ///< queued, in memory only
@property(nonatomic, readonly) int64_t heldBackNotSaved;  ///< held back, in memory only
@property(nonatomic, readonly) int64_t refusedNotInitialized;
@property(nonatomic, readonly) int64_t refusedInvalid;
@property(nonatomic, readonly) int64_t refusedUnknownSchema;
@property(nonatomic, readonly) int64_t refusedNotEncodable;  ///< JSON cannot hold it
@property(nonatomic, readonly) int64_t refusedConsent;       ///< consent is denied
@property(nonatomic, readonly) int64_t refusedShutDown;      ///< after the shutdown
@property(nonatomic, readonly) int64_t refusedByHook;        ///< the before-queue block has raised
@property(nonatomic, readonly) int64_t droppedByHook;        ///< the before-queue block dropped it

// What became of the held-back events.
@property(nonatomic, readonly) int64_t released;              ///< valid: moved to the queue
@property(nonatomic, readonly) int64_t droppedInvalid;        ///< the schema refused it
@property(nonatomic, readonly) int64_t droppedUnknownSchema;  ///< there was no schema for it
@property(nonatomic, readonly) int64_t heldBackEvicted;       ///< dropped, the oldest of too many
@property(nonatomic, readonly) int64_t heldBackDiscarded;     ///< removed at the user's will

// What became of the queued events.
@property(nonatomic, readonly) int64_t delivered;  ///< acknowledged by the collector
@property(nonatomic, readonly) int64_t evicted;    ///< dropped, the oldest of too many
@property(nonatomic, readonly) int64_t discarded;  ///< removed at the user's will
@property(nonatomic, readonly) int64_t batchesDelivered;
@property(nonatomic, readonly) int64_t batchesFailed;  ///< put back, to be sent again

// Events of earlier runs.
@property(nonatomic, readonly) int64_t restored;
@property(nonatomic, readonly) int64_t heldBackRestored;

// Now.
@property(nonatomic, readonly) int64_t waiting;          ///< in the queue
@property(nonatomic, readonly) int64_t inFlight;         ///< in batches without an answer yet
@property(nonatomic, readonly) int64_t passedOver;       ///< of those waiting, refused ones
@property(nonatomic, readonly) int64_t heldBackWaiting;  ///< held back

// Why events do not move.
@property(nonatomic, readonly, strong) QVNZentaraClientFailure *schemasFailure;
@property(nonatomic, readonly, strong) QVNZentaraClientFailure *identityFailure;
@property(nonatomic, readonly, strong) QVNZentaraClientFailure *deliveryFailure;
@property(nonatomic, readonly, strong) QVNZentaraClientFailure *storageFailure;

@end

NS_ASSUME_NONNULL_END
