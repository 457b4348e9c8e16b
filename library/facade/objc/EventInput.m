#import "facade/objc/Internal.h"

static const ZentaraText emptyText = {"", 0};

static void refuse(NSString **refusal, NSString *reason) {
    if (*refusal == nil) *refusal = reason;
}

static NSString *hasClass(NSString *name, id value) {
    return [NSString
        stringWithFormat:@"%@ is an object of class %@", name, NSStringFromClass([value class])];
}

static NSString *hasRaised(NSString *name, id exception) {
    return
        [NSString stringWithFormat:@"%@ raised %@", name, zentaraDescriptionOfException(exception)];
}

/// The text of an argument; `isAny` also takes objects that are not strings.
static ZentaraText textOf(id value, bool isAny, NSString *name, NSString **refusal) {
    @try {
        if (isAny && [value isKindOfClass:[NSURL class]]) {
            value = [(NSURL *)value absoluteString];
        } else if (isAny && ![value isKindOfClass:[NSString class]]) {
            value = [value description];
        }
        if ([value isKindOfClass:[NSString class]]) return zentaraText(value);
        if (value != nil) refuse(refusal, hasClass(name, value));
    } @catch (id exception) {
        refuse(refusal, hasRaised(name, exception));
    }
    return emptyText;
}

ZentaraText zentaraArgument(id value, NSString *name, NSString **refusal) {
    return textOf(value, false, name, refusal);
}

/// What an event keeps for the object: a copy of a string, or the object.
static id kept(id value) {
    if (value == nil) return @"";
    @try {
        return [value isKindOfClass:[NSString class]] ? [[value copy] autorelease] : value;
    } @catch (id exception) {
        return value;
    }
}

/// Sets `isUnreadable` if the properties raise an exception: they must not be read again.
static ZentaraBuilder *convert(id properties, NSString **flaw, NSString **refusal,
                               bool *isUnreadable) {
    if (properties == nil) return NULL;
    ZentaraBuilder *builder = zentaraMakeBuilder();
    NSString *reason = nil;
    @try {
        if (![properties isKindOfClass:[NSDictionary class]]) {
            reason = hasClass(@"properties", properties);
        } else {
            reason = zentaraAddDictionary(builder, properties, flaw);
        }
    } @catch (id exception) {
        *isUnreadable = true;
        reason = hasRaised(@"properties", exception);
    }
    if (reason == nil) return builder;
    refuse(refusal, reason);
    zentaraDiscardBuilder(builder);
    return NULL;
}

static NSDictionary *copyOf(id properties) {
    @try {
        if ([properties isKindOfClass:[NSDictionary class]]) {
            return [NSDictionary dictionaryWithDictionary:properties];
        }
    } @catch (id exception) {
        // The refusal already has its reason.
    }
    return [NSDictionary dictionary];
}

EventInput zentaraConvertEvent(id schemaId, id schemaVersion, id contentType, id url, id referer,
                               id properties, id relationId) {
    EventInput input = {.url = kept(url), .referer = kept(referer)};
    input.texts.schemaId = zentaraArgument(schemaId, @"schemaId", &input.refusal);
    input.texts.schemaVersion = zentaraArgument(schemaVersion, @"schemaVersion", &input.refusal);
    input.texts.contentType = zentaraArgument(contentType, @"contentType", &input.refusal);
    input.texts.url = textOf(url, true, @"url", &input.refusal);
    input.texts.referer = textOf(referer, true, @"referer", &input.refusal);
    if (relationId != nil) {
        input.texts.relationId = zentaraArgument(relationId, @"relationId", &input.refusal);
    }
    bool isUnreadable = false;
    input.properties = convert(properties, &input.flaw, &input.refusal, &isUnreadable);
    if (input.refusal != nil) {
        zentaraDiscardBuilder(input.properties);
        input.properties = NULL;
        input.ownProperties = copyOf(isUnreadable ? nil : properties);
    }
    return input;
}
