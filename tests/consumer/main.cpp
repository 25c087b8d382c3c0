// Uses one thing of every layer, through the installed headers alone.
#include <cstdio>

#include "api/qzDfs.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "api/qzStressTemplLibVersion.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/stress/ExerciseIndices.h"

int main() {
    short frame[2] = {100, -100};
    CLowpassFilter2 lowpass(40.0, 500);
    lowpass.InitialValue(100.0);
    const bool works = qzFilters_create(500, 2, 40, 0, 0) && qzStressECGLib_create(500, 2, 2.5) &&
                       qzStressECGLib_match(frame) == nullptr && qzDfs_create(2, 2.5) &&
                       qzDfs_getData(frame).size() == 2 && DukeScore(600, -0.1F, 1) == 1 &&
                       lowpass.Filter(100.0) > 99.0 && qzStressTemplLibVersionNumber == 1.0;
    qzDfs_destroy();
    qzStressECGLib_destroy();
    qzFilters_destroy();
    std::printf("%s\n%s", works ? "works" : "fails", qzStressTemplLibVersionString);
    return works ? 0 : 1;
}
