#pragma once

#import <Foundation/Foundation.h>

#include "facade/objc/Bridge.h"

// Texts and values, from Foundation's objects to the library's and back.

/// The string as UTF-8, valid as long as the autorelease pool. What is not Unicode becomes U+FFFD.
/// Raises what the string raises.
ZentaraText zentaraText(NSString *string);

/// The same, and an absent text for nil.
ZentaraText zentaraOptionalText(NSString *string);

/// The text as an autoreleased string, @"" for an absent text.
NSString *zentaraString(ZentaraText text);

/// The same, and nil for an absent text.
NSString *zentaraOptionalString(ZentaraText text);

/// Adds the dictionary to the builder as one object. Returns nil, or why JSON cannot hold it; the
/// builder can only be discarded then. Sets `flaw` to the reason when JSON can hold the dictionary
/// but the queue will not take it. Raises what the application's objects raise.
NSString *zentaraAddDictionary(ZentaraBuilder *builder, NSDictionary *dictionary, NSString **flaw);

/// The object as an autoreleased dictionary, immutable at every depth.
NSDictionary *zentaraDictionary(const ZentaraObject *object);
