/* As much of Apple's Foundation as the class headers need, with the attribute by which Swift sees an NSArray
 * as an array. */
#pragma once
#include "../ObjectiveC/ObjectiveC.h"
#define NS_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define NS_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define NS_SWIFT_NAME(name) __attribute__((swift_name(#name)))

__attribute__((swift_bridge("Swift.Array")))
@interface NSArray<__covariant ObjectType> : NSObject
@end
@interface NSMutableArray<ObjectType> : NSArray <ObjectType>
@end
@interface NSNumber : NSObject
@end
@interface NSString : NSObject
@end
