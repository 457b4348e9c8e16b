#import "facade/objc/Internal.h"

NSString *const ZentaraClientErrorDomain = @"ZentaraClient";
NSString *const ZentaraClientNotConfiguredErrorDomain =
    @"ZentaraClient.ZentaraClientNotConfiguredError";
NSString *const ZentaraClientInvalidArgumentErrorDomain = @"ZentaraClient.InvalidArgument";

static Class classOfKind(ZentaraErrorKind kind) {
#define FIND_CLASS(name) \
    if (kind == zentaraKindOf##name) return [QVN##name class];
    ZENTARA_EACH_PLAIN_ERROR(FIND_CLASS)
    ZENTARA_EACH_DETAILED_ERROR(FIND_CLASS)
    return [QVNZentaraClientError class];
}

static bool isOfTheLibrary(id error) {
    for (int kind = 0; kind < zentaraOtherError; ++kind) {
        if ([error isKindOfClass:classOfKind((ZentaraErrorKind)kind)]) return true;
    }
    return false;
}

@implementation QVNZentaraClientError

- (instancetype)initWithDomain:(NSString *)domain
                          code:(NSInteger)code
                      userInfo:(NSDictionary *)userInfo {
    if (isOfTheLibrary(self)) {
        NSString *cause = [NSString
            stringWithFormat:@"unimplemented initializer initWithDomain:code:userInfo: of class %@",
                             NSStringFromClass([self class])];
        zentaraFatalError([cause UTF8String]);
    }
    return [super initWithDomain:domain code:code userInfo:userInfo];
}

- (instancetype)initWithCoder:(NSCoder *)coder {
    (void)coder;
    zentaraFatalError("init(coder:) has not been implemented");
}

/// Immutable; GNUstep would make a copy with the initialiser above.
- (id)copyWithZone:(NSZone *)zone {
    (void)zone;
    return [self retain];
}

/// Skips the initialiser above, which is a fatal error for the library's classes.
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

// clang-format off
#define IMPLEMENT_PLAIN(name) \
    @implementation QVN##name \
    - (instancetype)init { return [self initWithKind:zentaraKindOf##name detail:nil]; } \
    @end
#define IMPLEMENT_DETAILED(name) \
    @implementation QVN##name \
    - (instancetype)initWithDetail:(NSString *)detail { \
        return [self initWithKind:zentaraKindOf##name detail:detail]; \
    } \
    @end
// clang-format on
ZENTARA_EACH_PLAIN_ERROR(IMPLEMENT_PLAIN)
ZENTARA_EACH_DETAILED_ERROR(IMPLEMENT_DETAILED)

QVNZentaraClientError *zentaraErrorObject(const ZentaraError *error) {
    if (error == NULL) return nil;
    const ZentaraErrorView view = zentaraViewError(error);
    return [[[classOfKind(view.kind) alloc] initWithView:view] autorelease];
}
