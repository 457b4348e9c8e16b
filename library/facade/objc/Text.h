#pragma once

#import <Foundation/Foundation.h>

#include "facade/objc/Bridge.h"

/// The string as UTF-8 that lives as long as the autorelease pool; what is not Unicode becomes
/// U+FFFD. Raises what the string raises.
ZentaraText zentaraText(NSString *string);

/// The same, and none for nil.
ZentaraText zentaraOptionalText(NSString *string);

/// The text as an autoreleased string; the empty one when there is none.
NSString *zentaraString(ZentaraText text);

/// The same, and nil when there is none.
NSString *zentaraOptionalString(ZentaraText text);
