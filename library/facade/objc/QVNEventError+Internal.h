#pragma once

#import <zentara/QVNEventError.h>

#include "facade/objc/ErrorBridge.h"

/// The same error as an autoreleased object of the class that stands for its kind; nil for null.
QVNZentaraClientError *zentaraErrorObject(const ZentaraError *error);

/// A new error of this kind, autoreleased.
QVNZentaraClientError *zentaraErrorOfKind(ZentaraErrorKind kind, NSString *detail);

/// What use before the settings is answered with; not of the family of the errors above.
NSError *zentaraNotConfiguredError(void);
