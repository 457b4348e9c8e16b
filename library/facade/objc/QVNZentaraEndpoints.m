#import <zentara/QVNZentaraEndpoints.h>

#import "facade/objc/Internal.h"

@implementation QVNZentaraEndpoints

@synthesize productionCollector = _productionCollector, qaCollector = _qaCollector,
            productionSchemas = _productionSchemas, qaSchemas = _qaSchemas,
            certificateAuthorityFile = _certificateAuthorityFile;

- (void)use {
    @autoreleasepool {
        zentaraUseEndpoints((ZentaraEndpointTexts){
            .productionCollector = zentaraOptionalText(_productionCollector),
            .qaCollector = zentaraOptionalText(_qaCollector),
            .productionSchemas = zentaraOptionalText(_productionSchemas),
            .qaSchemas = zentaraOptionalText(_qaSchemas),
            .certificateAuthorityFile = zentaraOptionalText(_certificateAuthorityFile),
        });
    }
}

- (void)dealloc {
    [_productionCollector release];
    [_qaCollector release];
    [_productionSchemas release];
    [_qaSchemas release];
    [_certificateAuthorityFile release];
    [super dealloc];
}

@end
