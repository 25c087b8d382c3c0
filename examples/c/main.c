/* Ten minutes of a simulated exercise test through the C interface: filter chain, both heart rates, an
 * averaged beat per lead, ST level and ST slope. See ../README.md for the signal and for what is printed. */
#include <stdio.h>

#include "../signal.h"
#include "api/qzStressTemplLibC.h"

int main(void) {
    qzc_filters_create(kFs, kLeads, /* low-pass Hz */ 40, kMainsHz, /* smoothing */ 1);
    qzc_stress_create(kFs, kLeads, kUVpb);
    qzc_multi_init(kFs, kLeads, kMainsHz, kUVpb);

    static int16_t beat[kLeads * kBeatLength]; /* one lead after the other */
    for (int i = 0; i < kLeads * kBeatLength; ++i) beat[i] = Sample(i / kBeatLength, i % kBeatLength, 0);
    qzc_stress_init_templ(beat, kLeads, kBeatLength, kPosQ, kPosJ, kPostJms, NULL);

    int beats = 0;
    int16_t heart_rate = 0, heart_rate_of_three = 0; /* beats/min */
    for (int i = 0; i < kFrames; ++i) {
        int16_t frame[kLeads], level[kLeads];
        float slope[kLeads];
        NextFrame(frame);
        qzc_filters_filters(frame, kLeads);
        const int16_t hr = qzc_multi_mean_hr(frame, kLeads);
        if (hr > 0) heart_rate = hr;
        const int16_t ms = qzc_stress_mean_rr_ms(frame[0], frame[1], frame[2]);
        if (ms > 0) heart_rate_of_three = qzc_heart_rate_of_three_leads(ms);
        if (!qzc_stress_match(frame, kLeads)) continue;

        qzc_stress_st_level(level, kLeads);
        qzc_stress_st_slope(slope, kLeads);
        if (++beats % kLinesEvery != 0) continue;
        printf("%d %d %d", i, heart_rate, heart_rate_of_three);
        for (int lead = 0; lead < kLeads; ++lead) printf(" %d", level[lead]);
        for (int lead = 0; lead < kLeads; ++lead) printf(" %.9g", (double)slope[lead]);
        printf("\n");
    }
    qzc_stress_destroy();
    qzc_filters_destroy();
    return 0;
}
