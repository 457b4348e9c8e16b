#pragma once

#import <Foundation/Foundation.h>

// The differences between platforms.

/// The result of methods that can fail: a truth value, "B" in their type encodings. Swift imports
/// such a method as throwing only if it returns BOOL, which is a character on other platforms.
#if defined(__APPLE__)
#define ZENTARA_BOOL BOOL
#else
#define ZENTARA_BOOL bool
#endif

/// The name in Swift, a string.
#if __has_attribute(swift_name)
#define ZENTARA_SWIFT_NAME(name) __attribute__((swift_name(name)))
#else
#define ZENTARA_SWIFT_NAME(name)
#endif

#define ZENTARA_OBJC_EXPORT extern __attribute__((visibility("default")))
