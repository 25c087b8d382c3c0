// qzStressTemplLib.framework: the whole library as one module for Apple's platforms. Objective-C sees the
// OC classes and the C interface here, Swift the qz classes besides. C++ includes the flat interfaces by
// name: <qzStressTemplLib/qzStressECGLib.h>, <qzStressTemplLib/qzFilters.h>, <qzStressTemplLib/qzDfs.h>.
#pragma once

#import <Foundation/Foundation.h>

#import <qzStressTemplLib/OCqz.h>
#import <qzStressTemplLib/qzSessionC.h>
#import <qzStressTemplLib/qzStressTemplLibC.h>
#import <qzStressTemplLib/qzStressTemplLibVersion.h>
