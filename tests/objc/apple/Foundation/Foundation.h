// As much of Apple's Foundation as the library uses, so that it can be compiled for that platform
// without its development kit. All classes answer what objects of any class are asked.
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
#define NSMakeRange(location, length) ((NSRange){location, length})
#define isfinite(number) __builtin_isfinite(number)

typedef bool BOOL;
typedef long NSInteger;
typedef unsigned long NSUInteger;
typedef unsigned short unichar;
typedef struct Zone NSZone;
typedef struct Range {
    NSUInteger location, length;
} NSRange;
@class NSArray<Element>, NSDictionary<Key, Value>, NSEnumerator, NSString;

__attribute__((objc_root_class))
@interface NSObject
@property(readonly) Class class;
@property(readonly) NSString *absoluteString, *description, *name, *reason;
@property(readonly) NSUInteger count, length;
@property(readonly) const char *objCType, *UTF8String;
@property(readonly) bool boolValue;
@property(readonly) double doubleValue;
@property(readonly) long long longLongValue;
@property(readonly) unsigned long long unsignedLongLongValue;
@property(readonly) void *mutableBytes;
@property(readonly) NSEnumerator *keyEnumerator;
+ (instancetype)alloc;
- (instancetype)init;
#if !__has_feature(objc_arc)
- (void)dealloc;
- (instancetype)retain;
- (instancetype)autorelease;
- (oneway void)release;
#endif
+ (Class)class;
+ (instancetype)arrayWithArray:(NSArray *)array;
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
+ (instancetype)arrayWithObject:(id)object;
+ (instancetype)dataWithLength:(NSUInteger)length;
+ (instancetype)dictionary;
+ (instancetype)dictionaryWithCapacity:(NSUInteger)capacity;
+ (instancetype)dictionaryWithDictionary:(NSDictionary *)dictionary;
+ (instancetype)dictionaryWithObjects:(id *)objects forKeys:(id *)keys count:(NSUInteger)count;
+ (instancetype)errorWithDomain:(id)domain code:(NSInteger)code userInfo:(id)userInfo;
+ (instancetype)null;
+ (instancetype)numberWithBool:(bool)value;
+ (instancetype)numberWithDouble:(double)value;
+ (instancetype)numberWithLongLong:(long long)value;
+ (instancetype)numberWithUnsignedLongLong:(unsigned long long)value;
+ (instancetype)set;
+ (instancetype)stringWithCharacters:(const unichar *)characters length:(NSUInteger)length;
+ (instancetype)stringWithFormat:(NSString *)format, ...;
+ (instancetype)strongToWeakObjectsMapTable;
+ (instancetype)valueWithPointer:(const void *)pointer;
+ (void)raise:(NSString *)name format:(NSString *)format, ...;
- (instancetype)initWithDomain:(id)domain code:(NSInteger)code userInfo:(id)userInfo;
- (NSString *)stringByAppendingString:(NSString *)string;
- (NSString *)substringFromIndex:(NSUInteger)index;
- (NSUInteger)countByEnumeratingWithState:(void *)state objects:(void *)objects count:(int)count;
- (bool)containsObject:(id)object;
- (bool)isKindOfClass:(Class)type;
- (id)copy;
- (id)nextObject;
- (id)objectAtIndex:(NSUInteger)index;
- (id)objectForKey:(id)key;
- (void)addObject:(id)object;
- (void)getCharacters:(unichar *)buffer range:(NSRange)range;
- (void)removeObjectForKey:(id)key;
- (void)setObject:(id)object forKey:(id)key;
- (void)setValue:(id)value forKey:(NSString *)key;
- (void)setValuesForKeysWithDictionary:(NSDictionary *)values;
@end

// clang-format off
#define CLASS(name, base) @interface name : base @end
@interface NSArray<Element> : NSObject @end
@interface NSDictionary<Key, Value> : NSObject @end
CLASS(NSCoder, NSObject) CLASS(NSEnumerator, NSObject) CLASS(NSError, NSObject)
CLASS(NSException, NSObject) CLASS(NSMapTable, NSObject) CLASS(NSMutableArray, NSArray)
CLASS(NSMutableData, NSObject) CLASS(NSMutableDictionary, NSDictionary)
CLASS(NSMutableSet, NSObject) CLASS(NSNull, NSObject) CLASS(NSString, NSObject)
CLASS(NSURL, NSObject) CLASS(NSValue, NSObject) CLASS(NSNumber, NSValue)
CLASS(NSDecimalNumber, NSNumber)
    // clang-format on

    extern NSString *const NSLocalizedDescriptionKey,
        *const NSInvalidArgumentException;
NSString *NSStringFromClass(Class type);
NSString *NSStringFromSelector(SEL selector);

// Of the system's headers that Foundation includes.
long strtol(const char *text, char **end, int base);
char *strchr(const char *text, int character);
void *memmem(const void *text, size_t length, const void *part, size_t partLength);
