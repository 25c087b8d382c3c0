/* Ten minutes of a simulated exercise test through a session: raw frames in, heart rates and ST values of
 * every lead out. See ../README.md for the signal and for what is printed. */
#include <stdio.h>

#include "../signal.h"
#include "api/qzSessionC.h"

static int g_beats = 0;
static double g_latest_bpm = 0; /* of the intervals that are shown as a rate */

static void PrintBeat(const qzs_session* session, const qzs_event* beat) {
    float level[kLeads], slope[kLeads];
    qzs_event_values(session, level, slope, NULL, kLeads);
    printf("%.0f %.9g %.9g", beat->seconds * kFs, beat->bpm, g_latest_bpm);
    for (int lead = 0; lead < kLeads; ++lead) printf(" %.9g", (double)level[lead]);
    for (int lead = 0; lead < kLeads; ++lead) printf(" %.9g", (double)slope[lead]);
    printf("\n");
}

static void TakeEvents(qzs_session* session) {
    qzs_event event;
    while (qzs_next_event(session, &event, sizeof event)) {
        if (event.kind == QZS_INTERVAL && event.bpm > 0) g_latest_bpm = event.bpm;
        if (event.kind == QZS_BEAT && ++g_beats % kLinesEvery == 0) PrintBeat(session, &event);
    }
}

int main(void) {
    qzs_options options;
    qzs_options_init(&options, sizeof options);
    options.fs = kFs;
    options.leads = kLeads;
    options.uv_per_unit = kUVpb;
    qzs_session* session = qzs_create(&options);
    if (session == NULL) return 1;

    for (int i = 0; i < kFrames; ++i) {
        int16_t frame[kLeads];
        NextFrame(frame);
        qzs_push(session, frame, 1);
        TakeEvents(session);
    }
    qzs_finish(session);
    TakeEvents(session);
    qzs_free(session);
    return 0;
}
