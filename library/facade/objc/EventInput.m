#import "facade/objc/Internal.h"

static const ZentaraText emptyText = {"", 0};

static void refuse(NSString **refusal, NSString *reason) {
    if (*refusal == nil) *refusal = reason;
}

ZentaraText zentaraArgument(id value, NSString *name, NSString **refusal) {
    if (value == nil) return emptyText;
    @try {
        if ([value isKindOfClass:[NSString class]]) return zentaraText(value);
        refuse(refusal, [NSString stringWithFormat:@"%@ is an object of class %@", name,
                                                   NSStringFromClass([value class])]);
    } @catch (id exception) {
        refuse(refusal, [NSString stringWithFormat:@"%@ raised %@", name,
                                                   zentaraDescriptionOfException(exception)]);
    }
    return emptyText;
}

/// The text of an argument that may be any object.
static ZentaraText anyText(id value, NSString *name, NSString **refusal) {
    if (value == nil) return emptyText;
    @try {
        NSString *text = value;
        if ([value isKindOfClass:[NSURL class]]) {
            text = [(NSURL *)value absoluteString];
        } else if (![value isKindOfClass:[NSString class]]) {
            text = [value description];
        }
        return zentaraArgument(text, name, refusal);
    } @catch (id exception) {
        refuse(refusal, [NSString stringWithFormat:@"%@ raised %@", name,
                                                   zentaraDescriptionOfException(exception)]);
        return emptyText;
    }
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

/// Sets `hasRaised` when the properties have raised an exception: they must not be read again.
static ZentaraBuilder *convert(id properties, NSString **flaw, NSString **refusal,
                               bool *hasRaised) {
    if (properties == nil) return NULL;
    ZentaraBuilder *builder = zentaraMakeBuilder();
    NSString *reason = nil;
    @try {
        if (![properties isKindOfClass:[NSDictionary class]]) {
            reason = [NSString stringWithFormat:@"properties is an object of class %@",
                                                NSStringFromClass([properties class])];
        } else {
            reason = zentaraAddDictionary(builder, properties, flaw);
        }
    } @catch (id exception) {
        *hasRaised = true;
        reason = [NSString
            stringWithFormat:@"properties raised %@", zentaraDescriptionOfException(exception)];
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
    input.texts.url = anyText(url, @"url", &input.refusal);
    input.texts.referer = anyText(referer, @"referer", &input.refusal);
    if (relationId != nil) {
        input.texts.relationId = zentaraArgument(relationId, @"relationId", &input.refusal);
    }
    bool hasRaised = false;
    input.properties = convert(properties, &input.flaw, &input.refusal, &hasRaised);
    if (input.refusal != nil) {
        zentaraDiscardBuilder(input.properties);
        input.properties = NULL;
        input.ownProperties = copyOf(hasRaised ? nil : properties);
    }
    return input;
}
