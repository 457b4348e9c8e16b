#pragma once

#import <zentara/QVNEvent.h>

#include "facade/objc/EventBridge.h"

@interface QVNEvent (Internal)

/// Takes `event` over. With a `refusal`, the event cannot be sent for this reason, and
/// `properties` stands in for those that it would have.
+ (QVNEvent *)eventWithHandle:(ZentaraEvent *)event
                          url:(id)url
                      referer:(id)referer
                      refusal:(NSString *)refusal
                   properties:(NSDictionary *)properties;

/// Null in an object that was never made an event.
- (const ZentaraEvent *)handle;
- (NSString *)refusal;

@end
