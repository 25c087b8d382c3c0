// Ten minutes of a simulated exercise test through a session: raw frames in, heart rates and ST values of
// every lead out. See ../README.md for the signal and for what is printed.
#import <Foundation/Foundation.h>
#include <stdio.h>

#include "../signal.h"
#import "OCqz.h"

static int g_beats = 0;
static double g_latestBpm = 0;  // of the intervals that are shown as a rate

static void TakeEvents(OCqzSession *session) {
    for (OCqzSessionEvent *event = [session nextEvent]; event != nil; event = [session nextEvent]) {
        if ([event kind] == OCqzEventInterval && [event bpm] > 0) g_latestBpm = [event bpm];
        if ([event kind] != OCqzEventBeat || ++g_beats % kLinesEvery != 0) continue;
        printf("%.0f %.9g %.9g", [event seconds] * (int)kFs, [event bpm], g_latestBpm);
        for (NSUInteger lead = 0; lead < kLeads; ++lead)
            printf(" %.9g", (double)[[[event level] objectAtIndex:lead] floatValue]);
        for (NSUInteger lead = 0; lead < kLeads; ++lead)
            printf(" %.9g", (double)[[[event slope] objectAtIndex:lead] floatValue]);
        printf("\n");
    }
}

int main(void) {
    NSAutoreleasePool *pool = [[NSAutoreleasePool alloc] init];
    OCqzSession *session = [[OCqzSession alloc] init:kFs
                                                 chn:kLeads
                                                uVpb:kUVpb
                                               mains:kMainsHz
                                             lowpass:40
                                              smooth:0
                                             postJms:kPostJms];
    for (int i = 0; i < kFrames; ++i) {
        NSAutoreleasePool *framePool = [[NSAutoreleasePool alloc] init];
        short samples[kLeads];
        NextFrame(samples);
        NSMutableArray *frame = [NSMutableArray arrayWithCapacity:kLeads];
        for (int lead = 0; lead < kLeads; ++lead) [frame addObject:[NSNumber numberWithShort:samples[lead]]];
        [session push:frame];
        TakeEvents(session);
        [framePool drain];
    }
    [session finish];
    TakeEvents(session);
    [session release];
    [pool drain];
    return 0;
}
