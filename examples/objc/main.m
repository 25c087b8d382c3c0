// Ten minutes of a simulated exercise test through the Objective-C classes: filter chain, both heart rates,
// an averaged beat per lead, ST level and ST slope. See ../README.md for the signal and for what is printed.
#import <Foundation/Foundation.h>
#include <stdio.h>
#include <stdlib.h>

#import "OCqz.h"

enum { kLeads = 12, kFs = 500, kMainsHz = 50 };        // kFs in samples per second
enum { kFrames = 600 * kFs };                          // ten minutes
enum { kBeatLength = 400, kPosQ = 134, kPosJ = 168 };  // samples of the first beat
enum { kPostJms = 60, kLinesEvery = 100 };             // averaged beats
static const double kUVpb = 2.5;                       // microvolts per unit

static int Triangle(int t, int centre, int halfWidth, int height) {
    const int distance = abs(t - centre);
    return distance < halfWidth ? height * (halfWidth - distance) / halfWidth : 0;
}

/// One lead of gain 1, t samples into a beat with R at 150: P - Q + R - S - ST depression + T.
static int Wave(int t, int depression) {
    return Triangle(t, 85, 25, 12) - Triangle(t, 140, 6, 10) + Triangle(t, 150, 8, 100) -
           Triangle(t, 160, 8, 25) - Triangle(t, 195, 40, depression) + Triangle(t, 260, 45, 30);
}

static NSNumber *Sample(int lead, int t, int depression) {
    const int gain = 2 * (lead * 5 % 8) - 7;  // -7 .. 7, odd
    return [NSNumber numberWithShort:(short)(gain * Wave(t, depression))];
}

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
        for (int t = 0; t < kBeatLength; ++t) [row addObject:Sample(lead, t, /*depression*/ 0)];
        [beat addObject:row];
    }
    [stress restTempl:beat posQ:kPosQ posJ:kPosJ postJms:kPostJms];

    int t = 0, beats = 0;
    short heartRate = 0, heartRateOfThree = 0;  // beats/min
    for (int i = 0; i < kFrames; ++i) {
        NSAutoreleasePool *framePool = [[NSAutoreleasePool alloc] init];
        NSMutableArray *raw = [NSMutableArray arrayWithCapacity:kLeads];
        for (int lead = 0; lead < kLeads; ++lead) [raw addObject:Sample(lead, t, /*depression*/ i / 15000)];
        if (++t >= kBeatLength - i / 3000) t = 0;

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
