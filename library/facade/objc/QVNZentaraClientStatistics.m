#import <zentara/QVNZentaraClientStatistics.h>

#include "facade/objc/StatisticsBridge.h"
#import "facade/objc/Values.h"

// The bridge gives the values by the names of the properties.

@implementation QVNZentaraClientFailure

@synthesize text = _text, time = _time, inARow = _inARow;

- (void)dealloc {
    [_text release];
    [super dealloc];
}

@end

@implementation QVNZentaraClientStatistics

@synthesize accepted = _accepted, heldBack = _heldBack, notSaved = _notSaved,
            heldBackNotSaved = _heldBackNotSaved, refusedNotInitialized = _refusedNotInitialized,
            refusedInvalid = _refusedInvalid, refusedUnknownSchema = _refusedUnknownSchema,
            refusedNotEncodable = _refusedNotEncodable, released = _released,
            droppedInvalid = _droppedInvalid, droppedUnknownSchema = _droppedUnknownSchema,
            heldBackEvicted = _heldBackEvicted, delivered = _delivered, evicted = _evicted,
            batchesDelivered = _batchesDelivered, batchesFailed = _batchesFailed,
            restored = _restored, heldBackRestored = _heldBackRestored, waiting = _waiting,
            underWay = _underWay, heldBackWaiting = _heldBackWaiting,
            schemasFailure = _schemasFailure, identityFailure = _identityFailure,
            deliveryFailure = _deliveryFailure, storageFailure = _storageFailure;

+ (QVNZentaraClientStatistics *)current {
    QVNZentaraClientStatistics *statistics =
        [[[QVNZentaraClientStatistics alloc] init] autorelease];
    @autoreleasepool {
        ZentaraObject *object = zentaraReadStatistics();
        NSDictionary *values = zentaraDictionary(object);
        zentaraReleaseObject(object);
        for (NSString *name in values) {
            id value = [values objectForKey:name];
            if ([value isKindOfClass:[NSDictionary class]]) {
                QVNZentaraClientFailure *failure =
                    [[[QVNZentaraClientFailure alloc] init] autorelease];
                [failure setValuesForKeysWithDictionary:value];
                value = failure;
            }
            [statistics setValue:value forKey:name];
        }
    }
    return statistics;
}

- (void)dealloc {
    [_schemasFailure release];
    [_identityFailure release];
    [_deliveryFailure release];
    [_storageFailure release];
    [super dealloc];
}

@end
