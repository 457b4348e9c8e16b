#pragma once

#import <Foundation/Foundation.h>

#include "facade/objc/BuilderBridge.h"
#include "facade/objc/ValueBridge.h"

/// Adds the dictionary to the builder as one object. nil when that is done; otherwise why no JSON
/// value stands for it, and the builder is good for nothing any more. `flaw` is set when the value
/// is one that the queue will not take, and says why. Raises what the application's objects raise.
NSString *zentaraAddDictionary(ZentaraBuilder *builder, NSDictionary *dictionary, NSString **flaw);

/// The object as an autoreleased dictionary, immutable at every depth.
NSDictionary *zentaraDictionary(const ZentaraObject *object);
