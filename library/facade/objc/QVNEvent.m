#import "facade/objc/Internal.h"

__attribute__((noreturn)) static void failWithoutValues(void) {
    zentaraFatalError(
        "init of Event is not available: events are made with +[QVNZentaraClient "
        "createEventWithSchemaId:schemaVersion:contentType:url:referer:properties:relationId:]");
}

zentara_event_draft zentaraTextsOf(const zentara_event *event) {
    zentara_event_draft texts = ZENTARA_INIT(zentara_event_draft);
    if (event != NULL) zentara_event_read(event, &texts);
    return texts;
}

@implementation QVNEvent

+ (instancetype)new {
    failWithoutValues();
}

- (instancetype)init {
    failWithoutValues();
}

- (void)dealloc {
    zentara_event_release(_event);
    [_url release];
    [_referer release];
    [(id)_properties release];
    [_flaw release];
    [_refusal release];
    [super dealloc];
}

- (NSString *)schemaId {
    return zentaraString(zentaraTextsOf(_event).schema_id);
}

- (NSString *)schemaVersion {
    return zentaraString(zentaraTextsOf(_event).schema_version);
}

- (NSString *)contentType {
    return zentaraString(zentaraTextsOf(_event).content_type);
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
    NSDictionary *made = zentaraDictionary(zentara_event_properties(_event));
    if (__atomic_compare_exchange_n(&_properties, &known, [made retain], false, __ATOMIC_ACQ_REL,
                                    __ATOMIC_ACQUIRE)) {
        return made;
    }
    [made release];
    return known;
}

- (NSString *)relationId {
    return zentaraOptionalString(zentaraTextsOf(_event).relation_id);
}

- (NSString *)description {
    return [NSString stringWithFormat:@"<Event %@-%@>", self.schemaId, self.schemaVersion];
}

@end

@implementation QVNEvent (Internal)

- (instancetype)initWithHandle:(zentara_event *)handle input:(const EventInput *)input {
    self = [super init];
    _event = handle;
    _url = [input->url retain];
    _referer = [input->referer retain];
    _flaw = [input->flaw copy];
    _refusal = [input->refusal copy];
    _properties = [input->ownProperties retain];
    return self;
}

- (const zentara_event *)handle {
    return _event;
}

- (NSString *)flaw {
    return _flaw;
}

- (NSString *)refusal {
    return _refusal;
}

@end

QVNEvent *zentaraEventObject(zentara_event *event, const EventInput *input) {
    return [[[QVNEvent alloc] initWithHandle:event input:input] autorelease];
}
