// Ten minutes of a simulated exercise test through the flat C++ interface: filter chain, both heart rates, an
// averaged beat per lead, ST level and ST slope. See ../README.md for the signal and for what is printed.
#include <cstdio>
#include <cstdlib>

#include "api/qzFilters.h"
#include "api/qzStressECGLib.h"
#include "core/stress/ExerciseIndices.h"

constexpr short kLeads = 12, kFs = 500, kMainsHz = 50;        // kFs in samples per second
constexpr double kUVpb = 2.5;                                 // microvolts per unit
constexpr int kFrames = 600 * kFs;                            // ten minutes
constexpr short kBeatLength = 400, kPosQ = 134, kPosJ = 168;  // samples of the first beat
constexpr short kPostJms = 60;
constexpr int kLinesEvery = 100;  // averaged beats

static int Triangle(int t, int centre, int halfWidth, int height) {
    const int distance = std::abs(t - centre);
    return distance < halfWidth ? height * (halfWidth - distance) / halfWidth : 0;
}

/// One lead of gain 1, t samples into a beat with R at 150: P - Q + R - S - ST depression + T.
static int Wave(int t, int depression) {
    return Triangle(t, 85, 25, 12) - Triangle(t, 140, 6, 10) + Triangle(t, 150, 8, 100) -
           Triangle(t, 160, 8, 25) - Triangle(t, 195, 40, depression) + Triangle(t, 260, 45, 30);
}

static short Sample(int lead, int t, int depression) {
    const int gain = 2 * (lead * 5 % 8) - 7;  // -7 .. 7, odd
    return static_cast<short>(gain * Wave(t, depression));
}

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

    int t = 0, beats = 0;
    short heartRate = 0, heartRateOfThree = 0;  // beats/min
    for (int i = 0; i < kFrames; ++i) {
        short frame[kLeads];
        for (int lead = 0; lead < kLeads; ++lead) frame[lead] = Sample(lead, t, /*depression*/ i / 15000);
        if (++t >= kBeatLength - i / 3000) t = 0;

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
