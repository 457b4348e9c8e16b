#import <zentara/QVNZentaraClientStatistics.h>

#import "facade/objc/Internal.h"

#include "c/StatisticsMembers.h"
#include "support/StatisticsNames.h"

@implementation QVNZentaraClientFailure

@synthesize text = _text, time = _time, inARow = _inARow;

- (instancetype)initWithFailure:(const zentara_failure *)failure {
    self = [super init];
    _text = [zentaraString(failure->text) retain];
    _time = failure->time;
    _inARow = failure->in_a_row;
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

+ (QVNZentaraClientStatistics *)current {
    QVNZentaraClientStatistics *statistics =
        [[[QVNZentaraClientStatistics alloc] init] autorelease];
    @autoreleasepool {
        zentara_statistics found = ZENTARA_INIT(zentara_statistics);
        zentara_read_statistics(&found);
#define COPY_COUNT(name, nameInC) statistics->_##name = found.nameInC;
#define COPY_FAILURE(name, nameInC) \
    statistics->_##name = [[QVNZentaraClientFailure alloc] initWithFailure:&found.nameInC];
        ZENTARA_EACH_COUNT_IN_C(COPY_COUNT)
        ZENTARA_EACH_FAILURE_IN_C(COPY_FAILURE)
#undef COPY_COUNT
#undef COPY_FAILURE
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
