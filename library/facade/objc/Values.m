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
    zentara_properties *properties;
    Class booleanClass;
    size_t valueCount;
    size_t depth;
    Level levels[maximumDepth];  // outermost first
    NSString *refusal;           // why it ended early
    NSString *flaw;              // the first flaw
} Walk;

static bool addValue(Walk *walk, id value);

// The key of a member is set before its value is put.
static const zentara_text noKey = {NULL, 0};

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

/// False, and a refusal, if the library did not take a value.
static bool put(Walk *walk, zentara_status status) {
    return status == ZENTARA_OK || refuse(walk, zentaraString(zentara_last_problem()));
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
    if (level == NULL || !put(walk, zentara_properties_open_array(walk->properties, noKey))) {
        return false;
    }
    // The count is read each time: the array may change, or be of the application's own class.
    size_t index = 0;
    for (; index < [array count]; ++index) {
        level->index = index;
        if (!addValue(walk, [array objectAtIndex:index])) return false;
    }
    --walk->depth;
    return put(walk, zentara_properties_close(walk->properties));
}

/// Sets the key. Collects keys with U+FFFD, which may have replaced other text, in `replaced`.
/// False if there is an equal key already.
static bool setKey(Walk *walk, NSString *key, NSMutableSet **replaced) {
    bool isReplaced = false;
    @autoreleasepool {
        const zentara_text text = zentaraText(key);
        isReplaced = memmem(text.bytes, text.length, "\xEF\xBF\xBD", 3) != NULL;
        zentara_properties_set_key(walk->properties, text);
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
    // The outermost dictionary is the properties.
    const bool isInner = walk->depth > 1;
    if (isInner && !put(walk, zentara_properties_open_object(walk->properties, noKey)))
        return false;
    NSMutableSet *replaced = nil;
    // A dictionary of the application's own class need not have fast enumeration.
    NSEnumerator *keys = [dictionary keyEnumerator];
    for (id key = [keys nextObject]; key != nil; key = [keys nextObject]) {
        level->key = nil;
        if (![key isKindOfClass:[NSString class]]) {
            return refuse(walk, [NSString stringWithFormat:@"a key of class %@",
                                                           NSStringFromClass([key class])]);
        }
        if (!setKey(walk, key, &replaced)) {
            return refuse(walk, @"a dictionary whose keys are equal without what is not Unicode");
        }
        level->key = key;
        if (!addValue(walk, [dictionary objectForKey:key])) return false;
    }
    --walk->depth;
    return !isInner || put(walk, zentara_properties_close(walk->properties));
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

static bool addSigned(Walk *walk, int64_t value) {
    return put(walk, zentara_properties_put_integer(walk->properties, noKey, value));
}

static bool addUnsigned(Walk *walk, uint64_t value) {
    return put(walk, zentara_properties_put_unsigned_integer(walk->properties, noKey, value));
}

/// Adds the number if it is an integer of 64 bits. A decimal number is wider than a double.
static bool addDecimalInteger(Walk *walk, NSDecimalNumber *number) {
    const char *text = [[number description] UTF8String];
    if (text == NULL) return false;
    const bool isNegative = *text == '-';
    if (isNegative) ++text;
    uint64_t value = 0;
    if (*text < '0' || *text > '9' || !parseInteger(text, &value)) return false;
    if (!isNegative) return addUnsigned(walk, value);
    return value <= (uint64_t)INT64_MAX + 1 && addSigned(walk, (int64_t)(0 - value));
}

static bool addNumber(Walk *walk, NSNumber *number) {
    const char *type = [number objCType];
    const bool isOneLetter = type != NULL && *type != '\0' && type[1] == '\0';
    if ([number isKindOfClass:walk->booleanClass] || (isOneLetter && *type == 'B')) {
        return put(walk,
                   zentara_properties_put_boolean(walk->properties, noKey, [number boolValue]));
    }
    if ([number isKindOfClass:[NSDecimalNumber class]] &&
        addDecimalInteger(walk, (NSDecimalNumber *)number)) {
        return true;
    }
    if (!isOneLetter) return refuse(walk, @"a number of an unknown kind");
    if (strchr("fd", *type) != NULL) {
        const double real = [number doubleValue];
        if (!isfinite(real)) noteFlaw(walk, @"a number that is not finite");
        return put(walk, zentara_properties_put_number(walk->properties, noKey, real));
    }
    if (strchr("CSILQ", *type) != NULL) return addUnsigned(walk, [number unsignedLongLongValue]);
    if (strchr("csilq", *type) != NULL) return addSigned(walk, [number longLongValue]);
    return refuse(walk, @"a number of an unknown kind");
}

static bool addValue(Walk *walk, id value) {
    if (++walk->valueCount > maximumValueCount) return refuse(walk, @"too many values");
    if ([value isKindOfClass:[NSString class]]) {
        zentara_status status = ZENTARA_OK;
        @autoreleasepool {
            status = zentara_properties_put_text(walk->properties, noKey, zentaraText(value));
        }
        return put(walk, status);
    }
    if ([value isKindOfClass:[NSNumber class]]) return addNumber(walk, value);
    if ([value isKindOfClass:[NSDictionary class]]) return addMembers(walk, value);
    if ([value isKindOfClass:[NSArray class]]) return addArray(walk, value);
    if ([value isKindOfClass:[NSNull class]]) {
        return put(walk, zentara_properties_put_null(walk->properties, noKey));
    }
    return refuse(walk, value == nil
                            ? @"no value for the key"
                            : [NSString stringWithFormat:@"an object of class %@",
                                                         NSStringFromClass([value class])]);
}

NSString *zentaraAddDictionary(zentara_properties *properties, NSDictionary *dictionary,
                               NSString **flaw) {
    Walk walk = {.properties = properties, .booleanClass = [[NSNumber numberWithBool:true] class]};
    addMembers(&walk, dictionary);
    *flaw = walk.flaw;
    return walk.refusal;
}

static id foundationValue(const zentara_value *value) {
    const zentara_value_view view = zentara_value_look(value);
    switch (view.kind) {
        case ZENTARA_VALUE_NULL:
            return [NSNull null];
        case ZENTARA_VALUE_BOOLEAN:
            return [NSNumber numberWithBool:view.boolean];
        case ZENTARA_VALUE_INTEGER:
            return [NSNumber numberWithLongLong:view.integer];
        case ZENTARA_VALUE_UNSIGNED_INTEGER:
            return [NSNumber numberWithUnsignedLongLong:view.unsigned_integer];
        case ZENTARA_VALUE_NUMBER:
            return [NSNumber numberWithDouble:view.number];
        case ZENTARA_VALUE_TEXT:
            return zentaraString(view.text);
        case ZENTARA_VALUE_OBJECT:
            return zentaraDictionary(value);
        case ZENTARA_VALUE_ARRAY:
            break;
    }
    NSMutableArray *array = [NSMutableArray arrayWithCapacity:view.count];
    for (size_t index = 0; index < view.count; ++index) {
        [array addObject:foundationValue(zentara_value_element(value, index))];
    }
    return [NSArray arrayWithArray:array];
}

NSDictionary *zentaraDictionary(const zentara_value *object) {
    const size_t count = zentara_value_look(object).count;
    NSMutableDictionary *dictionary = [NSMutableDictionary dictionaryWithCapacity:count];
    for (size_t index = 0; index < count; ++index) {
        zentara_text key;
        const zentara_value *member = zentara_value_member(object, index, &key);
        [dictionary setObject:foundationValue(member) forKey:zentaraString(key)];
    }
    return [NSDictionary dictionaryWithDictionary:dictionary];
}
