// What the class headers need on every compiler and with every Foundation.
#pragma once

#import <Foundation/Foundation.h>

/// Marks an array that may be nil; everything else in the headers is never nil.
#if defined(__clang__)
#define OC_NULLABLE _Nullable
#else
#define OC_NULLABLE
#endif

#ifndef NS_SWIFT_NAME
#define NS_SWIFT_NAME(name)
#endif
