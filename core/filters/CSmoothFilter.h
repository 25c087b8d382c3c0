// CSmoothFilter: adaptive smoother for one lead, one sample per call.
//
// The input is split into a low-pass part and a residual (the input 9 ms ago less the low-pass part). The
// residual is smoothed by a centred moving average and added back. How wide the average is depends on how
// active the residual was in the last 30 ms, compared with its long-run mean since the last reset: 9 ms to
// each side where it is quiet, 1 ms on steep waves, and only a 1-2-1 kernel on the steepest, so that QRS
// complexes keep their edges while the noise between them is flattened.
//
//   input --+--> low-pass -----------------+--> low-pass ring --------------------+
//           +--> raw ring --(9 ms ago)--(-)+--> residual ring --> moving average -(+)--> output
//
// Delay: N - N/2 samples in the rings (N: 30 ms of samples; 8 at 500 Hz) and the 9 ms of the raw path: 24 ms.
// The statistics run without end from the last reset on: the count has 64 bits, and the sums of whole numbers
// are exact up to 2^53, which the largest residuals reach in four years at 1000 Hz; beyond, they are rounded.
// The first 30 ms after a reset fill the rings. Cost: at most 2 * 9 ms of samples + 1 additions per sample.
// Only the constructor and Init(int, int) allocate. One object belongs to one thread.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "core/Export.h"
#include "core/filters/CLowpassFilter2.h"

class QZ_API CSmoothFilter {
public:
    static constexpr int kRingMs = 30;
    static constexpr int kResidualDelayMs = 9;
    /// The limits of the activity, in tenths of its mean: above the first the 1-2-1 kernel is used, above the
    /// i-th, counted from 0, i ms to each side, and 9 ms where it is above none.
    static constexpr std::array<int, 9> kActivityTenths = {40, 35, 30, 26, 22, 18, 15, 12, 10};
    /// True if the window holds more than `tenths` tenths of what `length` samples of mean activity hold. The
    /// order of operations decides ties.
    static bool IsMoreActive(int tenths, double window, int length, double total, double count) {
        return window > tenths / 10.0 * length * total / count;
    }

    /// Passes its input through until Init(int, int) is called.
    CSmoothFilter() = default;
    /// fs in samples per second, fc the cutoff of the inner low-pass in Hz. Under 34 samples per second the
    /// rings are empty and the input passes through.
    CSmoothFilter(int fs, int fc) { Init(fs, fc); }
    /// Builds everything anew, the inner low-pass included.
    void Init(int fs, int fc);
    /// Clears the rings and restarts the activity statistics; the inner low-pass keeps its state.
    void Init();
    /// One sample in, one smoothed sample out, in the unit of the input.
    int Smooth(int x);
    /// The output shows the input so many samples ago; 0 where it passes through.
    int DelaySamples() const { return m_length - m_length / 2 + m_delay; }
    /// So many samples after a reset the rings are full; 0 likewise.
    int SettlingSamples() const { return m_length; }

private:
    static constexpr int kOneTwoOne = 0;  // the half-width that stands for the 1-2-1 kernel

    int HalfWidth() const;
    int MovingAverage(int centre, int halfWidth) const;
    int OneTwoOne(int centre) const;

    std::vector<int> m_raw, m_lowpass, m_residual;  // rings of N values
    int m_length = 0;                               // N: 30 ms of samples
    int m_position = 0;                             // slot of the rings that is written next
    int m_delay = 0;                                // 9 ms of samples
    int m_fs = 0;                                   // samples per second
    std::array<int, 9> m_halfWidths{};              // 1 to 9 ms in samples
    std::int64_t m_count = 0;                       // samples since the last reset
    double m_total = 0;                             // sum of |residual| since the last reset
    double m_window = 0;                            // sum of |residual| over the residual ring
    CLowpassFilter2 m_innerLowpass;
};
