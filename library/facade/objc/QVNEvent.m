#import "facade/objc/Internal.h"

__attribute__((noreturn)) static void failWithoutValues(void) {
    zentaraFatalError(
        "init of Event is not available: events are made with +[QVNZentaraClient "
        "createEventWithSchemaId:schemaVersion:contentType:url:referer:properties:relationId:]");
}

@implementation QVNEvent

+ (instancetype)new {
    failWithoutValues();
}

- (instancetype)init {
    failWithoutValues();
}

- (void)dealloc {
    zentaraReleaseEvent(_event);
    [_url release];
    [_referer release];
    [(id)_properties release];
    [_flaw release];
    [_refusal release];
    [super dealloc];
}

- (NSString *)schemaId {
    return zentaraString(zentaraEventTexts(_event).schemaId);
}

- (NSString *)schemaVersion {
    return zentaraString(zentaraEventTexts(_event).schemaVersion);
}

- (NSString *)contentType {
    return zentaraString(zentaraEventTexts(_event).contentType);
}

- (id)url {
    return _url;
}

- (id)referer {
    return _referer;
}

- (NSDictionary<NSString *, id> *)properties {
    void *known = __atomic_load_n(&_properties, __ATOMIC_ACQUIRE);
    if (known != NULL) return known;
    if (_event == NULL) return [NSDictionary dictionary];
    // All threads get the first dictionary that is stored.
    NSDictionary *made = zentaraDictionary(zentaraEventProperties(_event));
    if (__atomic_compare_exchange_n(&_properties, &known, [made retain], false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE)) {
        return made;
    }
    [made release];
    return known;
}

- (NSString *)relationId {
    return zentaraOptionalString(zentaraEventTexts(_event).relationId);
}

- (NSString *)description {
    return [NSString stringWithFormat:@"<Event %@-%@>", self.schemaId, self.schemaVersion];
}

@end

@implementation QVNEvent (Internal)

- (instancetype)initWithHandle:(ZentaraEvent *)handle input:(const EventInput *)input {
    self = [super init];
    _event = handle;
    _url = [input->url retain];
    _referer = [input->referer retain];
    _flaw = [input->flaw copy];
    _refusal = [input->refusal copy];
    _properties = [input->ownProperties retain];
    return self;
}

- (const ZentaraEvent *)handle {
    return _event;
}

- (NSString *)flaw {
    return _flaw;
}

- (NSString *)refusal {
    return _refusal;
}

@end

QVNEvent *zentaraEventObject(ZentaraEvent *event, const EventInput *input) {
    return [[[QVNEvent alloc] initWithHandle:event input:input] autorelease];
}
