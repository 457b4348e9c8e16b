#import <Foundation/Foundation.h>

/// Selects the collector and the schemas service.
typedef NS_ENUM(NSInteger, ZentaraEnvironment) {
    ZentaraEnvironmentProduction = 0,
    ZentaraEnvironmentQa = 1,
};

/// The kinds of token that a logged-in user can have.
typedef NS_ENUM(NSInteger, UserTokenType) {
    UserTokenTypeQvnId = 0,
    UserTokenTypeGuest = 1,
    UserTokenTypeExternalId = 2,
};

/// What a background fetch achieved.
typedef NS_ENUM(NSUInteger, ZentaraBackgroundFetchResult) {
    ZentaraBackgroundFetchResultNewData = 0,  ///< all events that were taken were delivered
    ZentaraBackgroundFetchResultNoData = 1,   ///< the queue was empty
    ZentaraBackgroundFetchResultFailed = 2,   ///< a batch was put back
};
