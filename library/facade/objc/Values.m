#define _GNU_SOURCE  // memmem

#import "facade/objc/Internal.h"

#include <math.h>
#include <stdlib.h>
#include <string.h>

enum {
    // Bounds an object graph that holds the same arrays many times.
    maximumValueCount = 1000000,
    // More than the queue takes. The library refuses the depths between.
    maximumDepth = 512,
    // For methods of the application's objects, and for the rest of the send.
    stackToSpare = 64 * 1024,
};

/// A container that the walk has entered, and its position there: a key, or an index without one.
typedef struct Level {
    id container;
    NSString *key;
    size_t index;
} Level;

static const size_t nowhere = SIZE_MAX;

/// One walk over the application's objects.
typedef struct Walk {
    ZentaraBuilder *builder;
    Class booleanClass;
    size_t valueCount;
    size_t depth;
    Level levels[maximumDepth];  // outermost first
    NSString *refusal;           // why it ended early
    NSString *flaw;              // the first flaw
} Walk;

static bool addValue(Walk *walk, id value);

static void addText(Walk *walk, ZentaraText text) {
    zentaraAdd(walk->builder, (ZentaraValueView){.kind = zentaraTextValue, .text = text});
}

static void addSigned(Walk *walk, int64_t value) {
    zentaraAdd(walk->builder,
               (ZentaraValueView){.kind = zentaraSignedValue, .signedInteger = value});
}

static void addUnsigned(Walk *walk, uint64_t value) {
    zentaraAdd(walk->builder,
               (ZentaraValueView){.kind = zentaraUnsignedValue, .unsignedInteger = value});
}

/// A sentence with the path of the current value. Leaves out the outer part of a long path.
static NSString *sentence(const Walk *walk, NSString *what) {
    NSString *place = @"";
    size_t outer = walk->depth;
    while (outer > 0 && [place length] < 100) {
        const Level *level = &walk->levels[--outer];
        if (level->key != nil) {
            place = [NSString stringWithFormat:@".%@%@", level->key, place];
        } else if (level->index != nowhere) {
            place = [NSString stringWithFormat:@"[%zu]%@", level->index, place];
        }
    }
    return
        [NSString stringWithFormat:@"properties%@%@ is %@", outer == 0 ? @"" : @"...", place, what];
}

static bool refuse(Walk *walk, NSString *what) {
    walk->refusal = sentence(walk, what);
    return false;
}

static void noteFlaw(Walk *walk, NSString *what) {
    if (walk->flaw == nil) walk->flaw = sentence(walk, what);
}

/// The new innermost level, or null.
static Level *enter(Walk *walk, id container) {
    NSString *reason = nil;
    for (size_t level = 0; level < walk->depth; ++level) {
        if (walk->levels[level].container == container) reason = @"a container in itself";
    }
    if (walk->depth == maximumDepth) reason = @"nested too deeply";
    if (zentaraStackLeft() < stackToSpare) reason = @"too much for the thread's stack";
    if (reason != nil) {
        refuse(walk, reason);
        return NULL;
    }
    if (walk->depth == zentaraQueuedDepth()) noteFlaw(walk, @"nested too deeply");
    Level *level = &walk->levels[walk->depth++];
    *level = (Level){.container = container, .index = nowhere};
    return level;
}

static bool addArray(Walk *walk, NSArray *array) {
    Level *level = enter(walk, array);
    if (level == NULL) return false;
    // The count is read each time: the array may change, or be of the application's own class.
    size_t index = 0;
    for (; index < [array count]; ++index) {
        level->index = index;
        if (!addValue(walk, [array objectAtIndex:index])) return false;
    }
    --walk->depth;
    zentaraEndArray(walk->builder, index);
    return true;
}

/// Adds the key. Collects keys with U+FFFD, which may have replaced other text, in `replaced`.
/// False if there is an equal key already.
static bool addKey(Walk *walk, NSString *key, NSMutableSet **replaced) {
    bool isReplaced = false;
    @autoreleasepool {
        const ZentaraText text = zentaraText(key);
        isReplaced = memmem(text.bytes, text.length, "\xEF\xBF\xBD", 3) != NULL;
        addText(walk, text);
    }
    if (!isReplaced) return true;
    NSString *found = zentaraString(zentaraText(key));
    if (*replaced == nil) *replaced = [NSMutableSet set];
    if ([*replaced containsObject:found]) return false;
    [*replaced addObject:found];
    return true;
}

static bool addMembers(Walk *walk, NSDictionary *dictionary) {
    Level *level = enter(walk, dictionary);
    if (level == NULL) return false;
    NSMutableSet *replaced = nil;
    size_t count = 0;
    // A dictionary of the application's own class need not have fast enumeration.
    NSEnumerator *keys = [dictionary keyEnumerator];
    for (id key = [keys nextObject]; key != nil; key = [keys nextObject]) {
        level->key = nil;
        if (![key isKindOfClass:[NSString class]]) {
            return refuse(walk, [NSString stringWithFormat:@"a key of class %@",
                                                           NSStringFromClass([key class])]);
        }
        if (!addKey(walk, key, &replaced)) {
            return refuse(walk, @"a dictionary whose keys are equal without what is not Unicode");
        }
        level->key = key;
        if (!addValue(walk, [dictionary objectForKey:key])) return false;
        ++count;
    }
    --walk->depth;
    zentaraEndObject(walk->builder, count);
    return true;
}

/// Parses the text of a decimal number without sign, in any notation. False when it is no integer
/// of 64 bits.
static bool parseInteger(const char *text, uint64_t *value) {
    int exponent = 0;
    bool isFraction = false;
    for (*value = 0; *text == '.' || (*text >= '0' && *text <= '9'); ++text) {
        if (*text == '.') {
            isFraction = true;
            continue;
        }
        if (__builtin_mul_overflow(*value, 10u, value) ||
            __builtin_add_overflow(*value, (uint64_t)(*text - '0'), value)) {
            return false;
        }
        if (isFraction) --exponent;
    }
    if (*text == 'E' || *text == 'e') {
        char *end = NULL;
        exponent += (int)strtol(text + 1, &end, 10);
        text = end;
    }
    for (; exponent < 0 && *value % 10 == 0 && *value != 0; ++exponent)
        *value /= 10;
    for (; exponent > 0 && *value != 0; --exponent) {
        if (__builtin_mul_overflow(*value, 10u, value)) return false;
    }
    return *text == '\0' && (exponent == 0 || *value == 0);
}

/// A decimal number is wider than a double, so an integer is added as one if it fits 64 bits.
static bool addDecimalInteger(Walk *walk, NSDecimalNumber *number) {
    const char *text = [[number description] UTF8String];
    if (text == NULL) return false;
    const bool isNegative = *text == '-';
    if (isNegative) ++text;
    uint64_t value = 0;
    if (*text < '0' || *text > '9' || !parseInteger(text, &value)) return false;
    if (!isNegative) {
        addUnsigned(walk, value);
    } else if (value <= (uint64_t)INT64_MAX + 1) {
        addSigned(walk, (int64_t)(0 - value));
    } else {
        return false;
    }
    return true;
}

static bool addNumber(Walk *walk, NSNumber *number) {
    const char *type = [number objCType];
    const bool isOneLetter = type != NULL && *type != '\0' && type[1] == '\0';
    if ([number isKindOfClass:walk->booleanClass] || (isOneLetter && *type == 'B')) {
        zentaraAdd(walk->builder,
                   (ZentaraValueView){.kind = zentaraBooleanValue, .boolean = [number boolValue]});
        return true;
    }
    if ([number isKindOfClass:[NSDecimalNumber class]] &&
        addDecimalInteger(walk, (NSDecimalNumber *)number)) {
        return true;
    }
    if (!isOneLetter) return refuse(walk, @"a number of an unknown kind");
    if (strchr("fd", *type) != NULL) {
        const double real = [number doubleValue];
        if (!isfinite(real)) noteFlaw(walk, @"a number that is not finite");
        zentaraAdd(walk->builder, (ZentaraValueView){.kind = zentaraDoubleValue, .real = real});
    } else if (strchr("CSILQ", *type) != NULL) {
        addUnsigned(walk, [number unsignedLongLongValue]);
    } else if (strchr("csilq", *type) != NULL) {
        addSigned(walk, [number longLongValue]);
    } else {
        return refuse(walk, @"a number of an unknown kind");
    }
    return true;
}

static bool addValue(Walk *walk, id value) {
    if (++walk->valueCount > maximumValueCount) return refuse(walk, @"too many values");
    if ([value isKindOfClass:[NSString class]]) {
        @autoreleasepool {
            addText(walk, zentaraText(value));
        }
        return true;
    }
    if ([value isKindOfClass:[NSNumber class]]) return addNumber(walk, value);
    if ([value isKindOfClass:[NSDictionary class]]) return addMembers(walk, value);
    if ([value isKindOfClass:[NSArray class]]) return addArray(walk, value);
    if ([value isKindOfClass:[NSNull class]]) {
        zentaraAdd(walk->builder, (ZentaraValueView){.kind = zentaraNullValue});
        return true;
    }
    return refuse(walk, value == nil
                            ? @"no value for the key"
                            : [NSString stringWithFormat:@"an object of class %@",
                                                         NSStringFromClass([value class])]);
}

NSString *zentaraAddDictionary(ZentaraBuilder *builder, NSDictionary *dictionary, NSString **flaw) {
    Walk walk = {.builder = builder, .booleanClass = [[NSNumber numberWithBool:true] class]};
    addMembers(&walk, dictionary);
    *flaw = walk.flaw;
    return walk.refusal;
}

static id foundationValue(const ZentaraValue *value) {
    const ZentaraValueView view = zentaraViewValue(value);
    switch (view.kind) {
        case zentaraNullValue:
            return [NSNull null];
        case zentaraBooleanValue:
            return [NSNumber numberWithBool:view.boolean];
        case zentaraSignedValue:
            return [NSNumber numberWithLongLong:view.signedInteger];
        case zentaraUnsignedValue:
            return [NSNumber numberWithUnsignedLongLong:view.unsignedInteger];
        case zentaraDoubleValue:
            return [NSNumber numberWithDouble:view.real];
        case zentaraTextValue:
            return zentaraString(view.text);
        case zentaraObjectValue:
            return zentaraDictionary(value);
        case zentaraArrayValue:
            break;
    }
    NSMutableArray *array = [NSMutableArray arrayWithCapacity:view.count];
    for (size_t index = 0; index < view.count; ++index) {
        [array addObject:foundationValue(zentaraElement(value, index))];
    }
    return [NSArray arrayWithArray:array];
}

NSDictionary *zentaraDictionary(const ZentaraValue *object) {
    const size_t count = zentaraViewValue(object).count;
    NSMutableDictionary *dictionary = [NSMutableDictionary dictionaryWithCapacity:count];
    for (size_t index = 0; index < count; ++index) {
        ZentaraText key;
        const ZentaraValue *member = zentaraMember(object, index, &key);
        [dictionary setObject:foundationValue(member) forKey:zentaraString(key)];
    }
    return [NSDictionary dictionaryWithDictionary:dictionary];
}
