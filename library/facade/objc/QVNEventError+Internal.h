#pragma once

#import <zentara/QVNEventError.h>

#include "facade/objc/ErrorBridge.h"

/// The same error as an autoreleased object of the class that stands for its kind; nil for null.
QVNZentaraClientError *zentaraErrorObject(const ZentaraError *error);

// Not of the family of the error above.

/// What use before the settings is answered with.
NSError *zentaraNotConfiguredError(void);

/// What an argument is answered with that no value of the library stands for.
NSError *zentaraInvalidArgumentError(NSString *message);
