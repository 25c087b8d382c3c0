// The version symbols of the library, as a framework exports them. C linkage.
#pragma once

extern "C" {
/// 1.0
extern const double qzStressTemplLibVersionNumber;
/// The what-string: names the library and its project version.
extern const unsigned char qzStressTemplLibVersionString[];
}
