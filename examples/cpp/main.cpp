// Ten minutes of a simulated exercise test through the flat C++ interface: filter chain, both heart rates, an
// averaged beat per lead, ST level and ST slope. See ../README.md for the signal and for what is printed.
#include <cstdio>

#include "../signal.h"
#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "core/stress/ExerciseIndices.h"

int main() {
    qzFilters_create(kFs, kLeads, /*low-pass Hz*/ 40, kMainsHz, /*smoothing*/ 1);
    qzStressECGLib_create(kFs, kLeads, kUVpb);
    qzStressECGLib_InitMultiMeanRRms(kFs, kLeads, kMainsHz, kUVpb);

    static short beat[kLeads][kBeatLength];
    short* rows[kLeads];
    for (int lead = 0; lead < kLeads; ++lead) {
        for (int t = 0; t < kBeatLength; ++t) beat[lead][t] = Sample(lead, t, /*depression*/ 0);
        rows[lead] = beat[lead];
    }
    short length = kBeatLength;
    qzStressECGLib_InitTempl(rows, length, kPosQ, kPosJ, kPostJms);

    int beats = 0;
    short heartRate = 0, heartRateOfThree = 0;  // beats/min
    for (int i = 0; i < kFrames; ++i) {
        short frame[kLeads];
        NextFrame(frame);
        qzFilters_filters(frame);
        if (const short hr = qzStressECGLib_MultiMeanHR(frame); hr > 0) heartRate = hr;
        if (const short ms = qzStressECGLib_MeanRRms(frame[0], frame[1], frame[2]); ms > 0)
            heartRateOfThree = HeartRateOfThreeLeads(ms);
        if (qzStressECGLib_match(frame) == nullptr) continue;

        const short* level = qzStressECGLib_uvSTvalue();
        const float* slope = qzStressECGLib_STslope();
        if (++beats % kLinesEvery != 0) continue;
        std::printf("%d %d %d", i, heartRate, heartRateOfThree);
        for (int lead = 0; lead < kLeads; ++lead) std::printf(" %d", level[lead]);
        for (int lead = 0; lead < kLeads; ++lead) std::printf(" %.9g", static_cast<double>(slope[lead]));
        std::printf("\n");
    }
    qzStressECGLib_destroy();
    qzFilters_destroy();
}
