#import "facade/objc/Internal.h"

@implementation QVNLogLine

@synthesize level = _level, component = _component, text = _text;

- (instancetype)initWithRecord:(const zentara_log_line *)record {
    self = [super init];
    _level = record->level;
    _component = [zentaraString(record->component) retain];
    _text = [zentaraString(record->text) retain];
    return self;
}

- (void)dealloc {
    [_component release];
    [_text release];
    [super dealloc];
}

@end

@implementation QVNOutgoingEvent

@synthesize event = _event, actionUUID = _actionUUID, properties = _properties, url = _url,
            referer = _referer;

- (instancetype)initWithOutgoing:(zentara_outgoing *)outgoing {
    self = [super init];
    const zentara_event *event = zentara_outgoing_event(outgoing);
    const EventInput input = {.url = zentaraString(zentaraTextsOf(event).url), .referer = @""};
    _event = [zentaraEventObject(zentara_event_copy(event), &input) retain];
    _actionUUID = [zentaraString(zentara_outgoing_action_uuid(outgoing)) retain];
    const zentara_properties *properties = zentara_outgoing_properties(outgoing);
    _properties = [zentaraDictionary(zentara_properties_value(properties)) retain];
    _url = [zentaraString(zentara_outgoing_url(outgoing)) retain];
    _referer = [zentaraString(zentara_outgoing_referer(outgoing)) retain];
    return self;
}

- (void)dealloc {
    [_event release];
    [_actionUUID release];
    [_properties release];
    [_url release];
    [_referer release];
    [super dealloc];
}

@end

@implementation QVNValidationReport

@synthesize outcome = _outcome, messages = _messages;

- (instancetype)initWithRecord:(const zentara_validation_report *)record {
    self = [super init];
    _outcome = record->outcome;
    _messages = [zentaraStrings(record->messages, record->count) retain];
    return self;
}

- (void)dealloc {
    [_messages release];
    [super dealloc];
}

@end

static void callSink(void *block, const zentara_log_line *line) {
    zentaraCallHost("the log sink", ^{
        ((void (^)(QVNLogLine *))(id)block)([[[QVNLogLine alloc] initWithRecord:line] autorelease]);
    });
}

/// The dictionary for the library; raises if JSON cannot hold it.
static zentara_properties *propertiesOf(id dictionary, SEL method) {
    NSString *flaw = nil;
    NSString *refusal = nil;
    bool isUnreadable = false;
    zentara_properties *properties =
        zentaraConvertProperties(dictionary, &flaw, &refusal, &isUnreadable);
    if (refusal == nil) refusal = flaw;
    if (refusal == nil) return properties;
    zentara_properties_release(properties);
    zentaraRaise(method, refusal);
}

/// Calls the block, and takes over what it has set. Raises what refuses the event. Every decision
/// but the first drops it.
static zentara_decision decide(id block, zentara_outgoing *outgoing) {
    QVNOutgoingEvent *event = [[[QVNOutgoingEvent alloc] initWithOutgoing:outgoing] autorelease];
    NSDictionary *properties = event.properties;
    const ZentaraEventDecision decision =
        ((ZentaraEventDecision(^)(QVNOutgoingEvent *))block)(event);
    if (decision != ZentaraEventDecisionQueue) return ZENTARA_DECISION_DROP;
    if (event.properties != properties) {
        zentara_outgoing_set_properties_take(
            outgoing, propertiesOf(event.properties, @selector(setProperties:)));
    }
    zentara_outgoing_set_url(outgoing, zentaraText(event.url));
    zentara_outgoing_set_referer(outgoing, zentaraText(event.referer));
    return ZENTARA_DECISION_QUEUE;
}

static zentara_decision callBeforeQueue(void *block, zentara_outgoing *outgoing) {
    @autoreleasepool {
        @try {
            return decide((id)block, outgoing);
        } @catch (id exception) {
            NSString *reason = zentaraDescriptionOfException(exception);
            zentara_outgoing_set_reason(outgoing, zentaraText(reason));
            return ZENTARA_DECISION_REFUSE;
        }
    }
}

@implementation QVNZentaraClient (Hooks)

+ (void)setLogSinkWithLevel:(ZentaraLogLevel)least sink:(void (^)(QVNLogLine *))sink {
    const zentara_status status =
        zentara_set_log_sink((zentara_log_level)least, sink == nil ? NULL : callSink,
                             zentaraCopyBlock(sink), zentaraReleaseHeldBlock);
    if (status != ZENTARA_OK) zentaraRaise(_cmd, zentaraString(zentara_last_problem()));
}

+ (void)setBeforeQueue:(ZentaraEventDecision (^)(QVNOutgoingEvent *))block {
    zentara_set_before_queue(block == nil ? NULL : callBeforeQueue, zentaraCopyBlock(block),
                             zentaraReleaseHeldBlock);
}

+ (void)setGlobalProperties:(NSDictionary *)properties {
    zentara_set_global_properties_take(propertiesOf(properties, _cmd));
}

+ (void)setBundledSchemas:(NSData *)table {
    // The library borrows the bytes, and may be reading those of an earlier call.
    static NSMutableArray *kept = nil;
    if (table != nil && ![table isKindOfClass:[NSData class]]) {
        zentaraRaise(_cmd, @"the table is not an NSData");
        return;
    }
    @autoreleasepool {
        NSData *copy = table == nil ? [NSData data] : [[table copy] autorelease];
        @synchronized([QVNZentaraClient class]) {
            if (kept == nil) kept = [[NSMutableArray alloc] init];
            [kept addObject:copy];
        }
        zentara_set_bundled_schemas((zentara_text){[copy bytes], [copy length]});
    }
}

+ (void)setFailFast:(ZENTARA_BOOL)enabled {
    zentara_set_fail_fast(enabled);
}

+ (void)setSessionTimeout:(NSTimeInterval)timeout {
    zentara_set_session_timeout(zentaraMilliseconds(timeout) / 1000);
}

- (QVNValidationReport *)validateWithSchemaId:(NSString *)schemaId
                                schemaVersion:(NSString *)schemaVersion
                                   properties:(NSDictionary *)properties {
    zentara_validation_report report = ZENTARA_INIT(zentara_validation_report);
    report.outcome = ZENTARA_VALIDATION_NOT_READY;
    zentara_event_draft draft = ZENTARA_INIT(zentara_event_draft);
    NSString *refusal = nil;
    draft.schema_id = zentaraArgument(schemaId, @"schemaId", &refusal);
    draft.schema_version = zentaraArgument(schemaVersion, @"schemaVersion", &refusal);
    if (refusal != nil) zentaraRaise(_cmd, refusal);
    draft.properties = propertiesOf(properties, _cmd);
    if (zentara_validate([self clientHandle], &draft, &report) != ZENTARA_OK) {
        zentaraWarnWith([@"ZentaraClient: validation failed: "
            stringByAppendingString:zentaraString(zentara_last_problem())]);
    }
    zentara_properties_release(draft.properties);
    return [[[QVNValidationReport alloc] initWithRecord:&report] autorelease];
}

- (void)sendEvent:(QVNEvent *)event handler:(void (^)(QVNEvent *, QVNZentaraClientError *))handler {
    if (event == nil) return;
    [self sendElements:[NSArray arrayWithObject:event]
            relationId:zentaraTextsOf([zentaraEventIn(event) handle]).relation_id
               refusal:nil
               handler:handler];
}

@end
