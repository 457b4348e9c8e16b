#import <zentara/QVNZentaraClient.h>

#include <stdio.h>

static NSString *classOfErrorFrom(Class clientClass, id address) {
    QVNZentaraClient *client = [[[clientClass alloc] init] autorelease];
    __block NSString *name = nil;
    void (^handler)(Event *, ZentaraClientError *) = ^(Event *event, ZentaraClientError *error) {
        // What is made in a call goes with its autorelease pool.
        if (event.url == address) name = [NSStringFromClass([error class]) retain];
    };
    [client sendWithSchemaId:@"page-view"
               schemaVersion:@"1"
                 contentType:@"application/json"
                         url:address
                     referer:@""
                  properties:@{
                      @"is" : @YES
                  }
                  relationId:nil
                     handler:[[handler copy] autorelease]];
    return [name autorelease];
}

int main(void) {
    @autoreleasepool {
        // Nothing here names the class to the linker, and it must be there all the same.
        Class clientClass = NSClassFromString(@"QVNZentaraClient");
        NSError *error = nil;
        const bool refuses =
            [clientClass getAndReturnError:&error readyCallback:nil] == nil && error != nil;
        NSURL *address = [NSURL URLWithString:@"https://example.com/"];
        const bool reports =
            [classOfErrorFrom(clientClass, address) isEqual:@"ZentaraClientNotInitializedError"];
        if (clientClass == Nil) fprintf(stderr, "the class is not there\n");
        if (!refuses) fprintf(stderr, "use without settings is not refused\n");
        if (!reports) fprintf(stderr, "the handler gets another error\n");
        return refuses && reports ? 0 : 1;
    }
}
