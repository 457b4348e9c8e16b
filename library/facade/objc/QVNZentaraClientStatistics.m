#import <zentara/QVNZentaraClientStatistics.h>

#import "facade/objc/Internal.h"

@implementation QVNZentaraClientFailure

@synthesize text = _text, time = _time, inARow = _inARow;

- (instancetype)initWithFailure:(const ZentaraFailure *)failure {
    self = [super init];
    _text = [zentaraString(failure->text) retain];
    _time = failure->time;
    _inARow = failure->inARow;
    return self;
}

- (void)dealloc {
    [_text release];
    [super dealloc];
}

@end

@implementation QVNZentaraClientStatistics

#define SYNTHESIZE(name) @synthesize name = _##name;
ZENTARA_EACH_COUNT(SYNTHESIZE)
ZENTARA_EACH_FAILURE(SYNTHESIZE)
#undef SYNTHESIZE

void zentaraCopyStatistics(void *object, const ZentaraStatistics *found) {
    QVNZentaraClientStatistics *statistics = object;
#define COPY_COUNT(name) statistics->_##name = found->name;
#define COPY_FAILURE(name) \
    statistics->_##name = [[QVNZentaraClientFailure alloc] initWithFailure:&found->name];
    ZENTARA_EACH_COUNT(COPY_COUNT)
    ZENTARA_EACH_FAILURE(COPY_FAILURE)
#undef COPY_COUNT
#undef COPY_FAILURE
}

+ (QVNZentaraClientStatistics *)current {
    QVNZentaraClientStatistics *statistics =
        [[[QVNZentaraClientStatistics alloc] init] autorelease];
    @autoreleasepool {
        zentaraReadStatistics(statistics);
    }
    return statistics;
}

- (void)dealloc {
#define RELEASE_FAILURE(name) [_##name release];
    ZENTARA_EACH_FAILURE(RELEASE_FAILURE)
#undef RELEASE_FAILURE
    [super dealloc];
}

@end
