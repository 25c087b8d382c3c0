// The part of Apple's Foundation that the classes use, declared for syntax checks of the Apple dialect on
// other systems, by clang and by the Swift compiler. Nothing is ever linked against it.
#pragma once

#include <stddef.h>

#import "../ObjectiveC/ObjectiveC.h"

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_SWIFT_NAME(name) __attribute__((swift_name(#name)))

NS_ASSUME_NONNULL_BEGIN

@interface NSNumber : NSObject
+ (NSNumber *)numberWithShort:(short)value;
+ (NSNumber *)numberWithInt:(int)value;
+ (NSNumber *)numberWithFloat:(float)value;
@property(readonly) short shortValue;
@property(readonly) float floatValue;
@end

// By this attribute Swift sees an NSArray as an array.
__attribute__((swift_bridge("Swift.Array")))
@interface NSArray<__covariant ObjectType> : NSObject
@property(readonly) NSUInteger count;
- (id)objectAtIndex:(NSUInteger)index;
@end

@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
- (instancetype)initWithCapacity:(NSUInteger)capacity;
- (void)addObject:(id)object;
- (void)replaceObjectAtIndex:(NSUInteger)index withObject:(id)object;
@end

__attribute__((swift_bridge("Swift.String")))
@interface NSString : NSObject
- (instancetype)initWithUTF8String:(const char *)text;
@end

NS_ASSUME_NONNULL_END
