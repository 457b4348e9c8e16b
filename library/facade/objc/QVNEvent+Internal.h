#pragma once

#import <zentara/QVNEvent.h>

#include "facade/objc/EventBridge.h"

@interface QVNEvent (Internal)

/// Takes `event` over. With a `flaw`, the queue will not take the event for this reason. With a
/// `refusal`, it cannot be sent for this reason, and `properties` stands in for those that it would
/// have.
+ (QVNEvent *)eventWithHandle:(ZentaraEvent *)event
                          url:(id)url
                      referer:(id)referer
                         flaw:(NSString *)flaw
                      refusal:(NSString *)refusal
                   properties:(NSDictionary *)properties;

/// Null in an object that was never made an event.
- (const ZentaraEvent *)handle;
- (NSString *)flaw;
- (NSString *)refusal;

@end
