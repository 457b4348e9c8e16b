#import "facade/objc/HostCode.h"

#import "facade/objc/Text.h"

void zentaraCallHost(const char *where, void (^code)(void)) {
    @autoreleasepool {
        @try {
            code();
        } @catch (id exception) {
            zentaraWarnWith([NSString stringWithFormat:@"ZentaraClient: exception in %s: %@", where,
                                                       zentaraDescriptionOfException(exception)]);
        }
    }
}

NSString *zentaraDescriptionOfException(id exception) {
    @try {
        if ([exception isKindOfClass:[NSException class]]) {
            return [NSString stringWithFormat:@"%@: %@", [(NSException *)exception name],
                                              [(NSException *)exception reason]];
        }
        return NSStringFromClass([exception class]);
    } @catch (id another) {
        return @"an exception that cannot be described";
    }
}

void zentaraWarnWith(NSString *text) {
    @try {
        zentaraWarn(zentaraText(text));
    } @catch (id exception) {
        const char line[] = "ZentaraClient: a message that cannot be read";
        zentaraWarn((ZentaraText){line, sizeof line - 1});
    }
}
