#import <Foundation/Foundation.h>

#import <zentara/QVNDefinitions.h>

NS_ASSUME_NONNULL_BEGIN

/// An event as the application describes it. Immutable, safe to read from any thread and to keep.
/// Made by `+[QVNZentaraClient createEventWithSchemaId:...]` only.
ZENTARA_SWIFT_NAME("Event")
@interface QVNEvent : NSObject {
  @private
    struct zentara_event *_event;
    id _url;
    id _referer;
    void *_properties;  // an NSDictionary, made on first use
    NSString *_flaw;
    NSString *_refusal;
}

@property(nonatomic, readonly, copy) NSString *schemaId;
@property(nonatomic, readonly, copy) NSString *schemaVersion;
@property(nonatomic, readonly, copy) NSString *contentType;

/// The objects that the event was made with; a string is a copy of it, nil has become @"".
@property(nonatomic, readonly, strong) id url;
@property(nonatomic, readonly, strong) id referer;

/// The properties as they are sent: what they were when the event was made, immutable at every
/// depth. If JSON cannot hold them, a copy of the dictionary that the event was made with.
@property(nonatomic, readonly, copy) NSDictionary<NSString *, id> *properties;

@property(nonatomic, readonly, copy, nullable) NSString *relationId;

/// Fatal errors: there are no events without values.
- (instancetype)init __attribute__((unavailable("use +[QVNZentaraClient createEventWith...]")));
+ (instancetype)new __attribute__((unavailable("use +[QVNZentaraClient createEventWith...]")));

@end

NS_ASSUME_NONNULL_END
