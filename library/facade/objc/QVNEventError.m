#import "facade/objc/Internal.h"

#import "facade/objc/HostCode.h"
#import "facade/objc/Values.h"

NSString *const ZentaraClientErrorDomain = @"ZentaraClient";
NSString *const ZentaraClientNotConfiguredErrorDomain =
    @"ZentaraClient.ZentaraClientNotConfiguredError";
NSString *const ZentaraClientInvalidArgumentErrorDomain = @"ZentaraClient.InvalidArgument";

static Class classOfKind(ZentaraErrorKind kind) {
    switch (kind) {
        case zentaraNotInitializedError:
            return [QVNZentaraClientNotInitializedError class];
        case zentaraNotReadyError:
            return [QVNZentaraClientNotReady class];
        case zentaraInvalidDataError:
            return [QVNInvalidDataForSpecifiedSchemaError class];
        case zentaraUnknownError:
            return [QVNUnknownError class];
        case zentaraEventNotQueuedError:
            return [QVNEventNotQueuedError class];
        case zentaraSchemasInitializationError:
            return [QVNSchemasInitializationError class];
        case zentaraOtherError:
            break;
    }
    return [QVNZentaraClientError class];
}

static bool isOfTheLibrary(id error) {
    for (int kind = zentaraNotInitializedError; kind <= zentaraSchemasInitializationError; ++kind) {
        if ([error isKindOfClass:classOfKind((ZentaraErrorKind)kind)]) return true;
    }
    return false;
}

@implementation QVNZentaraClientError

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
- (instancetype)initWithView:(ZentaraErrorView)view {
    return [super initWithDomain:zentaraString(view.domain)
                            code:(NSInteger)view.code
                        userInfo:@{NSLocalizedDescriptionKey : zentaraString(view.message)}];
}

- (instancetype)initWithKind:(ZentaraErrorKind)kind detail:(NSString *)detail {
    ZentaraError *error = zentaraMakeError(kind, zentaraText(detail));
    self = [self initWithView:zentaraViewError(error)];
    zentaraReleaseError(error);
    return self;
}

@end

@implementation QVNZentaraClientNotInitializedError
- (instancetype)init {
    return [self initWithKind:zentaraNotInitializedError detail:nil];
}
@end

@implementation QVNZentaraClientNotReady
- (instancetype)initWithDetail:(NSString *)detail {
    return [self initWithKind:zentaraNotReadyError detail:detail];
}
@end

@implementation QVNInvalidDataForSpecifiedSchemaError
- (instancetype)initWithDetail:(NSString *)detail {
    return [self initWithKind:zentaraInvalidDataError detail:detail];
}
@end

@implementation QVNUnknownError
- (instancetype)init {
    return [self initWithKind:zentaraUnknownError detail:nil];
}
@end

@implementation QVNEventNotQueuedError
- (instancetype)init {
    return [self initWithKind:zentaraEventNotQueuedError detail:nil];
}
@end

@implementation QVNSchemasInitializationError
- (instancetype)init {
    return [self initWithKind:zentaraSchemasInitializationError detail:nil];
}
@end

QVNZentaraClientError *zentaraErrorObject(const ZentaraError *error) {
    if (error == NULL) return nil;
    const ZentaraErrorView view = zentaraViewError(error);
    return [[[classOfKind(view.kind) alloc] initWithView:view] autorelease];
}

NSError *zentaraNotConfiguredError(void) {
    // As an error that has neither domain nor code nor message of its own becomes an object.
    return [NSError errorWithDomain:ZentaraClientNotConfiguredErrorDomain code:1 userInfo:nil];
}

NSError *zentaraInvalidArgumentError(NSString *message) {
    return [NSError errorWithDomain:ZentaraClientInvalidArgumentErrorDomain
                               code:1
                           userInfo:@{NSLocalizedDescriptionKey : message}];
}
