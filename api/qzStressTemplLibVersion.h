/* The version symbols of the library, as a framework exports them. C linkage, for C and C++. */
#pragma once

#ifndef QZ_API
#define QZ_API /* given a meaning by the build of the library: core/Export.h */
#endif

#ifdef __cplusplus
extern "C" {
#endif
/// 1.0
QZ_API extern const double qzStressTemplLibVersionNumber;
/// The what-string: names the library and its project version.
QZ_API extern const unsigned char qzStressTemplLibVersionString[];
#ifdef __cplusplus
}
#endif
