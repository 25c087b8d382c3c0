// The part of Apple's Objective-C runtime headers that the classes use.
#pragma once

#include <stdbool.h>

typedef bool BOOL;
#define YES true
#define NO false
#define nil ((id)0)
typedef long NSInteger;
typedef unsigned long NSUInteger;

__attribute__((objc_root_class))
@interface NSObject
+ (instancetype)alloc;
+ (Class)class;
- (instancetype)init;
- (id)copy;
- (BOOL)isKindOfClass:(Class)aClass;
- (BOOL)respondsToSelector:(SEL)selector;
- (void)dealloc;
#if !__has_feature(objc_arc)
- (instancetype)autorelease;
#endif
@end
