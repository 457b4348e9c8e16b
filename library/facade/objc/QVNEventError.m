#import "facade/objc/QVNEventError+Internal.h"

#import "facade/objc/HostCode.h"
#import "facade/objc/Text.h"
#import "facade/objc/Values.h"

static Class classOfKind(ZentaraErrorKind kind) {
    switch (kind) {
        case zentaraNotInitializedError:
            return [ZentaraClientNotInitializedError class];
        case zentaraNotReadyError:
            return [ZentaraClientNotReady class];
        case zentaraInvalidDataError:
            return [InvalidDataForSpecifiedSchemaError class];
        case zentaraUnknownError:
            return [UnknownError class];
        case zentaraEventNotQueuedError:
            return [EventNotQueuedError class];
        case zentaraSchemasInitializationError:
            return [SchemasInitializationError class];
        case zentaraOtherError:
            break;
    }
    return [ZentaraClientError class];
}

static bool isOfTheLibrary(id error) {
    for (int kind = zentaraNotInitializedError; kind <= zentaraSchemasInitializationError; ++kind) {
        if ([error isKindOfClass:classOfKind((ZentaraErrorKind)kind)]) return true;
    }
    return false;
}

/// The same user info with the platform's own key for the message, which differs.
static NSDictionary *userInfoOf(const ZentaraError *error) {
    NSMutableDictionary *userInfo = [NSMutableDictionary
        dictionaryWithDictionary:zentaraDictionary(zentaraErrorUserInfo(error))];
    NSString *key = zentaraString(zentaraErrorMessageKey());
    id message = [[[userInfo objectForKey:key] retain] autorelease];
    if (message != nil) {
        [userInfo removeObjectForKey:key];
        [userInfo setObject:message forKey:NSLocalizedDescriptionKey];
    }
    return [NSDictionary dictionaryWithDictionary:userInfo];
}

@implementation ZentaraClientError

- (instancetype)initWithDomain:(NSString *)domain
                          code:(NSInteger)code
                      userInfo:(NSDictionary *)userInfo {
    if (isOfTheLibrary(self)) {
        zentaraFatalError(zentaraText([NSString
            stringWithFormat:@"unimplemented initializer initWithDomain:code:userInfo: of class %@",
                             NSStringFromClass([self class])]));
    }
    return [super initWithDomain:domain code:code userInfo:userInfo];
}

- (instancetype)initWithCoder:(NSCoder *)coder {
    (void)coder;
    const char cause[] = "init(coder:) has not been implemented";
    zentaraFatalError((ZentaraText){cause, sizeof cause - 1});
}

/// Immutable; GNUstep would make a copy with the initialiser above.
- (id)copyWithZone:(NSZone *)zone {
    (void)zone;
    return [self retain];
}

/// Past the initialiser above, which the library's classes do not have.
- (instancetype)initWithError:(const ZentaraError *)error {
    return [super initWithDomain:zentaraString(zentaraErrorDomain(error))
                            code:(NSInteger)zentaraErrorCode(error)
                        userInfo:userInfoOf(error)];
}

- (instancetype)initWithKind:(ZentaraErrorKind)kind detail:(NSString *)detail {
    ZentaraError *error = zentaraMakeError(kind, zentaraText(detail));
    self = [self initWithError:error];
    zentaraReleaseError(error);
    return self;
}

@end

@implementation ZentaraClientNotInitializedError
- (instancetype)init {
    return [self initWithKind:zentaraNotInitializedError detail:nil];
}
@end

@implementation ZentaraClientNotReady
- (instancetype)initWithDetail:(NSString *)detail {
    return [self initWithKind:zentaraNotReadyError detail:detail];
}
@end

@implementation InvalidDataForSpecifiedSchemaError
- (instancetype)initWithDetail:(NSString *)detail {
    return [self initWithKind:zentaraInvalidDataError detail:detail];
}
@end

@implementation UnknownError
- (instancetype)init {
    return [self initWithKind:zentaraUnknownError detail:nil];
}
@end

@implementation EventNotQueuedError
- (instancetype)init {
    return [self initWithKind:zentaraEventNotQueuedError detail:nil];
}
@end

@implementation SchemasInitializationError
- (instancetype)init {
    return [self initWithKind:zentaraSchemasInitializationError detail:nil];
}
@end

ZentaraClientError *zentaraErrorObject(const ZentaraError *error) {
    if (error == NULL) return nil;
    return [[[classOfKind(zentaraErrorKind(error)) alloc] initWithError:error] autorelease];
}

ZentaraClientError *zentaraErrorOfKind(ZentaraErrorKind kind, NSString *detail) {
    return [[[classOfKind(kind) alloc] initWithKind:kind detail:detail] autorelease];
}

NSError *zentaraNotConfiguredError(void) {
    // As an error that has neither domain nor code nor message of its own becomes an object.
    return [NSError errorWithDomain:@"ZentaraClient.ZentaraClientNotConfiguredError"
                               code:1
                           userInfo:nil];
}
