#import <Foundation/Foundation.h>

#import <zentara/QVNDefinitions.h>

NS_ASSUME_NONNULL_BEGIN

/// Changes the addresses that the library uses, before the first
/// `+[QVNZentaraClient getAndReturnError:readyCallback:]`. A property that is nil changes nothing.
/// The build gives every address a working default.
///
///     QVNZentaraEndpoints *endpoints = [[[QVNZentaraEndpoints alloc] init] autorelease];
///     endpoints.qaCollector = @"http://127.0.0.1:8080";
///     [endpoints use];
ZENTARA_SWIFT_NAME("ZentaraEndpoints")
@interface QVNZentaraEndpoints : NSObject {
  @private
    NSString *_productionCollector, *_qaCollector, *_productionSchemas, *_qaSchemas,
        *_certificateAuthorityFile;
}

@property(nonatomic, copy, nullable) NSString *productionCollector;
@property(nonatomic, copy, nullable) NSString *qaCollector;
@property(nonatomic, copy, nullable) NSString *productionSchemas;
@property(nonatomic, copy, nullable) NSString *qaSchemas;

/// A PEM file of the certificate authorities to trust instead of the system's; @"" for the
/// system's.
@property(nonatomic, copy, nullable) NSString *certificateAuthorityFile;

/// Puts the values in force for this process. An endpoint that is not an http or https URL is a
/// fatal error that names it. Any thread.
- (void)use ZENTARA_SWIFT_NAME("use()");

@end

NS_ASSUME_NONNULL_END
