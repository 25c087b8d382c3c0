// The signal of README.md, for the programs that are C at heart.
#pragma once

#include <stdlib.h>

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

static short Sample(int lead, int t, int depression) {
    const int gain = 2 * (lead * 5 % 8) - 7;  // -7 .. 7, odd
    return (short)(gain * Wave(t, depression));
}

/// The next frame of the ten minutes: one sample per lead.
static void NextFrame(short* frame) {
    static int i = 0, t = 0;
    for (int lead = 0; lead < kLeads; ++lead) frame[lead] = Sample(lead, t, /*depression*/ i / 15000);
    if (++t >= kBeatLength - i / 3000) t = 0;
    ++i;
}
