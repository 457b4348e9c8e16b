#pragma once

#import <Foundation/Foundation.h>

#include "facade/objc/BuilderBridge.h"
#include "facade/objc/ValueBridge.h"

/// Adds the dictionary to the builder as one object. nil when that is done; otherwise why JSON
/// cannot hold it, and the builder is good for nothing any more. Raises what the application's
/// objects raise.
NSString *zentaraAddDictionary(ZentaraBuilder *builder, NSDictionary *dictionary);

/// The object as an autoreleased dictionary, immutable at every depth.
NSDictionary *zentaraDictionary(const ZentaraObject *object);
