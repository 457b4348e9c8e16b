// As much of Apple's Foundation as compiling the library for that platform takes. Methods that are
// not declared are taken to return objects; all classes answer those that are.
#pragma once

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#define nil ((id)0)
#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_ENUM(type, name) \
    enum name : type name;  \
    enum name : type
#define NS_DESIGNATED_INITIALIZER __attribute__((objc_designated_initializer))
#define NSMakeRange(location, length) ((NSRange){location, length})
#define isfinite(number) __builtin_isfinite(number)

typedef bool BOOL;
typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef unsigned short unichar;
typedef double NSTimeInterval;
typedef struct Zone NSZone;
typedef struct Range {
    NSUInteger location, length;
} NSRange;
@class NSDictionary<Key, Value>, NSString;

__attribute__((objc_root_class))
@interface NSObject
@property(readonly) NSUInteger count, length;
@property(readonly) const char *objCType, *UTF8String;
@property(readonly) bool boolValue;
@property(readonly) double doubleValue;
@property(readonly) long long longLongValue;
@property(readonly) unsigned long long unsignedLongLongValue;
@property(readonly) void *mutableBytes;
@property(readonly) const void *bytes;
+ (Class)class;
- (Class)class;
+ (instancetype)alloc;
- (instancetype)init;
- (bool)isKindOfClass:(Class)type;
- (bool)containsObject:(id)object;
+ (instancetype)dictionaryWithObjects:(id *)objects forKeys:(id *)keys count:(NSUInteger)count;
- (instancetype)initWithDomain:(id)domain code:(NSInteger)code userInfo:(id)userInfo;
+ (instancetype)dictionary;
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
+ (instancetype)null;
+ (instancetype)numberWithBool:(bool)value;
+ (instancetype)numberWithDouble:(double)value;
+ (instancetype)numberWithLongLong:(long long)value;
- (void)addObject:(id)object;
- (void)addEntriesFromDictionary:(id)dictionary;
- (void)setValue:(id)value forKey:(NSString *)key;
- (NSUInteger)countByEnumeratingWithState:(void *)state objects:(void *)objects count:(int)count;
#if !__has_feature(objc_arc)
- (void)dealloc;
- (instancetype)retain;
#endif
@end

extern NSString *const NSLocalizedDescriptionKey, *const NSInvalidArgumentException;
NSString *NSStringFromClass(Class type);
NSString *NSStringFromSelector(SEL selector);

// Of the system's headers that Foundation includes.
long strtol(const char *text, char **end, int base);
size_t strlen(const char *text);
char *strchr(const char *text, int character);
void *memmem(const void *text, size_t length, const void *part, size_t partLength);

// clang-format off
#define CLASS(name, base) @interface name : base @end
@interface NSArray<Element> : NSObject @end
@interface NSDictionary<Key, Value> : NSObject @end
@interface NSMutableDictionary<Key, Value> : NSDictionary<Key, Value> @end
@interface NSException : NSObject
@property(readonly) NSString *reason;
@end
CLASS(NSCoder, NSObject) CLASS(NSEnumerator, NSObject) CLASS(NSError, NSObject)
CLASS(NSMapTable, NSObject) CLASS(NSMutableArray, NSArray)
CLASS(NSData, NSObject) CLASS(NSMutableData, NSData)
CLASS(NSMutableSet, NSObject) CLASS(NSNull, NSObject) CLASS(NSString, NSObject)
CLASS(NSURL, NSObject) CLASS(NSValue, NSObject) CLASS(NSNumber, NSValue)
CLASS(NSDecimalNumber, NSNumber)
