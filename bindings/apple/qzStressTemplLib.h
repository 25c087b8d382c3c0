// qzStressTemplLib.framework: the whole library as one module for Apple's platforms. Objective-C sees the
// four OC classes and the C interface here, Swift the qz classes besides.
#pragma once

#import <Foundation/Foundation.h>

#import <qzStressTemplLib/OCqz.h>
#import <qzStressTemplLib/qzStressTemplLibC.h>

#ifdef __cplusplus
extern "C" {
#endif
/// 1.0
extern const double qzStressTemplLibVersionNumber;
/// Names the library and its project version.
extern const unsigned char qzStressTemplLibVersionString[];
#ifdef __cplusplus
}
#endif
