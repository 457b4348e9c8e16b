#import "facade/objc/Internal.h"

@implementation QVNZentaraClient (Consent)

+ (ZENTARA_BOOL)setConsent:(ZentaraConsent)consent {
    const zentara_consent known = (zentara_consent)consent;
    const zentara_status status =
        known == consent ? zentara_set_consent(known) : ZENTARA_INVALID_ARGUMENT;
    if (status == ZENTARA_INVALID_ARGUMENT) {
        NSString *reason =
            [NSString stringWithFormat:@"there is no consent %lld", (long long)consent];
        zentaraRaise(_cmd, reason);
    }
    return status == ZENTARA_OK;
}

+ (ZentaraConsent)consent {
    return zentara_get_consent();
}

+ (ZENTARA_BOOL)forgetUser {
    return zentara_forget_user() == ZENTARA_OK;
}

@end
