// CBaseNotchFilter: the comb that takes out mains interference and baseline drift together, for one stream
// whose mains period is a whole number of samples.
//
// From the input delayed by D it subtracts the weighted mean of all samples at the same phase of the mains
// cycle in a window of 1.5 s. What repeats with the mains period, and what changes slowly over the window,
// is in that mean and goes; the QRS, being neither, passes. The phase is linear.
//
//   P = fs / freq           samples per mains period        H = fs / 2       half a second
//   D = (3 fs) / 4 - P / 2  output delay                    S = fs           one second
//   N = (2 fs) / P          divisor of the mean             L = fs / 2 + fs  longest lag
//
//   acc[n] = acc[n-P] + x[n] + x[n-H] - (x[n-S] + x[n-L])
//   y[n]   = x[n-D] - acc[n] / N                            every division truncates toward zero
//
// For even freq the accumulator is the sum of the samples at lags 0, P, ..., S-P and H, H+P, ..., H+S-P, the
// middle half second counted twice.
//
// At 50 Hz D is a whole number of periods. At 60 Hz (600 samples per second: P = 10, D = 445) it is not:
// the phase mean is taken half a period off, and a steady 60 Hz tone comes out inverted and doubled, while
// constants and drift still go. Hosts with 60 Hz mains use CNotchFilter instead.
//
// Delay: D samples, about three quarters of a second; the first L samples (1.5 s) fill the rings.
// Cost: five ring reads and one division per sample. Only Init allocates. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"

/// The lags of the comb in samples, from the mains frequency and the rate in Hz.
struct CombLags {
    int period = 0;      // P; 0: nothing to work on, and all others are 0
    int delay = 0;       // D
    int divisor = 0;     // N
    int halfSecond = 0;  // H
    int oneSecond = 0;   // S
    int longest = 0;     // L

    CombLags() = default;
    CombLags(int freq, int fs);
};

class QZ_API CBaseNotchFilter {
public:
    /// Passes its input through until Init is called.
    CBaseNotchFilter() = default;
    /// Mains frequency and sampling rate in Hz, each up to a million.
    CBaseNotchFilter(int freq, int fs) { Init(freq, fs); }
    virtual ~CBaseNotchFilter() = default;
    /// Stores the arguments that are positive (the others keep what is stored), computes the lags and clears
    /// both rings. Without a frequency, or with a rate below it, there is no period to work on: the input
    /// then passes through.
    void Init(int freq, int fs);
    /// One sample in, one out, in the unit of the input.
    int Filter(int x);
    /// D: the output shows the input so many samples ago; 0 where the input passes through.
    int DelaySamples() const { return m_lags.delay; }
    /// L: so many samples after Init the rings are full; 0 likewise.
    int SettlingSamples() const { return m_lags.longest; }

private:
    int m_freq = 0;                   // mains frequency, Hz
    int m_fs = 0;                     // samples per second
    CombLags m_lags;                  // none: the input passes through
    std::vector<int> m_input;         // ring of the last L + 1 inputs
    std::vector<int> m_accumulators;  // ring of the last P + 1 accumulators
    int m_inputPos = 0;               // slot of m_input that is written next
    int m_accumulatorPos = 0;         // slot of m_accumulators that is written next
};
