#import "facade/objc/Internal.h"

NSString *const ZentaraClientErrorDomain = @"ZentaraClient";
NSString *const ZentaraClientNotConfiguredErrorDomain =
    @"ZentaraClient.ZentaraClientNotConfiguredError";
NSString *const ZentaraClientInvalidArgumentErrorDomain = @"ZentaraClient.InvalidArgument";

static Class classOfKind(zentara_error_kind kind) {
#define FIND_CLASS(name, kindOfName) \
    if (kind == kindOfName) return [QVN##name class];
    ZENTARA_EACH_PLAIN_ERROR(FIND_CLASS)
    ZENTARA_EACH_DETAILED_ERROR(FIND_CLASS)
    return [QVNZentaraClientError class];
}

static bool isOfTheLibrary(id error) {
#define IS_OF_CLASS(name, kindOfName) [error isKindOfClass:[QVN##name class]] ||
    return ZENTARA_EACH_PLAIN_ERROR(IS_OF_CLASS) ZENTARA_EACH_DETAILED_ERROR(IS_OF_CLASS) false;
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
- (instancetype)initWithError:(const zentara_error *)error {
    NSString *message = zentaraString(zentara_error_message(error));
    return [super initWithDomain:zentaraString(zentara_error_domain(error))
                            code:(NSInteger)zentara_error_code(error)
                        userInfo:@{NSLocalizedDescriptionKey : message}];
}

- (instancetype)initWithKind:(zentara_error_kind)kind detail:(NSString *)detail {
    zentara_error *error = zentara_error_make(kind, zentaraText(detail));
    self = [self initWithError:error];
    zentara_error_release(error);
    return self;
}

@end

// clang-format off
#define IMPLEMENT_PLAIN(name, kindOfName) \
    @implementation QVN##name \
    - (instancetype)init { return [self initWithKind:kindOfName detail:nil]; } \
    @end
#define IMPLEMENT_DETAILED(name, kindOfName) \
    @implementation QVN##name \
    - (instancetype)initWithDetail:(NSString *)detail { \
        return [self initWithKind:kindOfName detail:detail]; \
    } \
    @end
// clang-format on
ZENTARA_EACH_PLAIN_ERROR(IMPLEMENT_PLAIN)
ZENTARA_EACH_DETAILED_ERROR(IMPLEMENT_DETAILED)

QVNZentaraClientError *zentaraErrorObject(const zentara_error *error) {
    if (error == NULL) return nil;
    return [[[classOfKind(zentara_error_kind_of(error)) alloc] initWithError:error] autorelease];
}
