#include "api/qzStressTemplLibVersion.h"

const double qzStressTemplLibVersionNumber = 1.0;
const unsigned char qzStressTemplLibVersionString[] =
    "@(#)PROGRAM:qzStressTemplLib  PROJECT:qzStressTemplLib-1\n";
