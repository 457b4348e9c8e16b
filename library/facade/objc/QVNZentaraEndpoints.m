#import <zentara/QVNZentaraEndpoints.h>

#import "facade/objc/Internal.h"

@implementation QVNZentaraEndpoints

@synthesize productionCollector = _productionCollector, qaCollector = _qaCollector,
            productionSchemas = _productionSchemas, qaSchemas = _qaSchemas,
            certificateAuthorityFile = _certificateAuthorityFile;

- (void)use {
    @autoreleasepool {
        const zentara_endpoints endpoints = {
            .size = sizeof endpoints,
            .production_collector = zentaraOptionalText(_productionCollector),
            .qa_collector = zentaraOptionalText(_qaCollector),
            .production_schemas = zentaraOptionalText(_productionSchemas),
            .qa_schemas = zentaraOptionalText(_qaSchemas),
            .certificate_authority_file = zentaraOptionalText(_certificateAuthorityFile),
        };
        if (zentara_use_endpoints(&endpoints) != ZENTARA_OK) {
            zentaraFatalError([zentaraString(zentara_last_problem()) UTF8String]);
        }
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
