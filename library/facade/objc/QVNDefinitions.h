#pragma once

#import <Foundation/Foundation.h>

// What the platforms differ in.

/// What methods that can fail return: a truth value, "B" in their type encodings. Swift takes such
/// a method for one that throws only if it returns BOOL, which is a character on other platforms.
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
