// Ten minutes of a simulated exercise test through the Objective-C classes: filter chain, both heart rates,
// an averaged beat per lead, ST level and ST slope. See ../README.md for the signal and for what is printed.
#import <Foundation/Foundation.h>
#include <stdio.h>

#include "../signal.h"
#import "OCqz.h"

int main(void) {
    NSAutoreleasePool *pool = [[NSAutoreleasePool alloc] init];
    OCqzFiltersLib *filters = [[OCqzFiltersLib alloc] init:kFs
                                                       chn:kLeads
                                                 freqLpass:40
                                                 freqNotch:kMainsHz
                                                    smooth:1];
    OCqzMeanRRmsLib *meanRR = [[OCqzMeanRRmsLib alloc] init:kFs chn:kLeads freqNotch:kMainsHz uVpb:kUVpb];
    OCqzStressTemplLib *stress = [[OCqzStressTemplLib alloc] init];
    [stress create:kFs chn:kLeads uVpb:kUVpb mutex_lock:NO];

    NSMutableArray *beat = [NSMutableArray array];
    for (int lead = 0; lead < kLeads; ++lead) {
        NSMutableArray *row = [NSMutableArray array];
        for (int t = 0; t < kBeatLength; ++t)
            [row addObject:[NSNumber numberWithShort:Sample(lead, t, /*depression*/ 0)]];
        [beat addObject:row];
    }
    [stress restTempl:beat posQ:kPosQ posJ:kPosJ postJms:kPostJms];

    int beats = 0;
    short heartRate = 0, heartRateOfThree = 0;  // beats/min
    for (int i = 0; i < kFrames; ++i) {
        NSAutoreleasePool *framePool = [[NSAutoreleasePool alloc] init];
        short samples[kLeads];
        NextFrame(samples);
        NSMutableArray *raw = [NSMutableArray arrayWithCapacity:kLeads];
        for (int lead = 0; lead < kLeads; ++lead) [raw addObject:[NSNumber numberWithShort:samples[lead]]];

        NSArray *frame = [filters filters:raw];
        const short hr = [meanRR meanHR:frame];
        if (hr > 0) heartRate = hr;
        const short hrOfThree = [stress getMeanHR:[[frame objectAtIndex:0] shortValue]
                                            data2:[[frame objectAtIndex:1] shortValue]
                                            data3:[[frame objectAtIndex:2] shortValue]];
        if (hrOfThree > 0) heartRateOfThree = hrOfThree;
        if ([stress match:frame] != nil) {
            NSArray *level = [stress getSTuv], *slope = [stress getSTslope];
            if (++beats % kLinesEvery == 0) {
                printf("%d %d %d", i, heartRate, heartRateOfThree);
                for (NSUInteger lead = 0; lead < kLeads; ++lead)
                    printf(" %d", [[level objectAtIndex:lead] shortValue]);
                for (NSUInteger lead = 0; lead < kLeads; ++lead)
                    printf(" %.9g", (double)[[slope objectAtIndex:lead] floatValue]);
                printf("\n");
            }
        }
        [framePool drain];
    }
    [stress destroy];
    [stress release];
    [meanRR release];
    [filters release];
    [pool drain];
    return 0;
}
