// The part of Apple's Foundation that the Objective-C classes use, declared for clang's syntax checks of the
// Apple dialect on other systems. Nothing is ever linked against it.
#pragma once

#include <stddef.h>

#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_SWIFT_NAME(name) __attribute__((swift_name(#name)))

typedef signed char BOOL;
#define YES ((BOOL)1)
#define NO ((BOOL)0)
#define nil ((id)0)
typedef unsigned long NSUInteger;

NS_ASSUME_NONNULL_BEGIN

__attribute__((objc_root_class))
@interface NSObject
+ (instancetype)alloc;
+ (Class)class;
- (instancetype)init;
- (BOOL)isKindOfClass:(Class)aClass;
- (void)dealloc;
#if !__has_feature(objc_arc)
- (instancetype)autorelease;
#endif
@end

@interface NSNumber : NSObject
+ (NSNumber *)numberWithShort:(short)value;
+ (NSNumber *)numberWithInt:(int)value;
+ (NSNumber *)numberWithFloat:(float)value;
@property(readonly) short shortValue;
@property(readonly) float floatValue;
@end

@interface NSArray : NSObject
@property(readonly) NSUInteger count;
- (id)objectAtIndex:(NSUInteger)index;
@end

@interface NSMutableArray : NSArray
+ (instancetype)arrayWithCapacity:(NSUInteger)capacity;
- (instancetype)initWithCapacity:(NSUInteger)capacity;
- (void)addObject:(id)object;
- (void)replaceObjectAtIndex:(NSUInteger)index withObject:(id)object;
@end

NS_ASSUME_NONNULL_END
