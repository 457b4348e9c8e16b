#import "facade/objc/Internal.h"

static const zentara_text emptyText = {"", 0};

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
static zentara_text textOf(id value, bool isAny, NSString *name, NSString **refusal) {
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

zentara_text zentaraArgument(id value, NSString *name, NSString **refusal) {
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

zentara_properties *zentaraConvertProperties(id properties, NSString **flaw, NSString **refusal,
                                             bool *isUnreadable) {
    if (properties == nil) return NULL;
    zentara_properties *converted = zentara_properties_make();
    NSString *reason = nil;
    @try {
        if (![properties isKindOfClass:[NSDictionary class]]) {
            reason = hasClass(@"properties", properties);
        } else {
            reason = zentaraAddDictionary(converted, properties, flaw);
        }
    } @catch (id exception) {
        *isUnreadable = true;
        reason = hasRaised(@"properties", exception);
    }
    if (reason == nil) return converted;
    refuse(refusal, reason);
    zentara_properties_release(converted);
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
    EventInput input = {
        .draft = ZENTARA_INIT(zentara_event_draft), .url = kept(url), .referer = kept(referer)};
    input.draft.schema_id = zentaraArgument(schemaId, @"schemaId", &input.refusal);
    input.draft.schema_version = zentaraArgument(schemaVersion, @"schemaVersion", &input.refusal);
    input.draft.content_type = zentaraArgument(contentType, @"contentType", &input.refusal);
    input.draft.url = textOf(url, true, @"url", &input.refusal);
    input.draft.referer = textOf(referer, true, @"referer", &input.refusal);
    if (relationId != nil) {
        input.draft.relation_id = zentaraArgument(relationId, @"relationId", &input.refusal);
    }
    bool isUnreadable = false;
    input.draft.properties =
        zentaraConvertProperties(properties, &input.flaw, &input.refusal, &isUnreadable);
    if (input.refusal != nil) {
        zentara_properties_release(input.draft.properties);
        input.draft.properties = NULL;
        input.ownProperties = copyOf(isUnreadable ? nil : properties);
    }
    return input;
}
