#import <zentara/QVNZentaraClient.h>

NS_ASSUME_NONNULL_BEGIN

/// What the user allows. Kept on disk.
typedef NS_ENUM(NSInteger, ZentaraConsent) {
    ZentaraConsentGranted = 0,  ///< events are delivered; the state before anything was set
    ZentaraConsentPending = 1,  ///< events are queued, and nothing leaves
    ZentaraConsentDenied = 2,   ///< everything of the user is removed, and events are refused
};

/// The user's will. Any thread.
@interface QVNZentaraClient (Consent)

/// Sets what the user allows, for this process at once and for later starts, before it returns. To
/// be called after `+[QVNHostApplication setDocumentsDirectory:]`; the settings need not be there.
/// false if it was not stored, or something could not be removed: it then holds for this process.
/// An unknown value raises `NSInvalidArgumentException`.
+ (ZENTARA_BOOL)setConsent:(ZentaraConsent)consent ZENTARA_SWIFT_NAME("setConsent(_:)");

/// What was set last, in this run or an earlier one.
+ (ZentaraConsent)consent ZENTARA_SWIFT_NAME("consent()");

/// Removes the events, the identity and the logged user, and begins anew with another identity.
/// false if a file could not be removed.
+ (ZENTARA_BOOL)forgetUser ZENTARA_SWIFT_NAME("forgetUser()");

@end

NS_ASSUME_NONNULL_END
