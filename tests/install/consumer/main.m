#import <zentara/QVNZentaraClient.h>

int main(void) {
    @autoreleasepool {
        // Nothing here names the class to the linker, and it must be there all the same.
        QVNZentaraClient *client =
            [[[NSClassFromString(@"QVNZentaraClient") alloc] init] autorelease];
        __block NSUInteger result = ZentaraBackgroundFetchResultNewData;
        [client performFetchWith:^(NSUInteger fetched) {
            result = fetched;
        }];
        return result == ZentaraBackgroundFetchResultFailed ? 0 : 1;
    }
}
