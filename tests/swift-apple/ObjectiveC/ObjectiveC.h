/* As much of Apple's Objective-C runtime headers as the class headers need. */
typedef _Bool BOOL;
typedef unsigned long NSUInteger;
__attribute__((objc_root_class))
@interface NSObject
- (instancetype)init;
@end
