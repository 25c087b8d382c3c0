// CNotchFilter: second-order band-stop for one lead, one sample per call; takes out one mains frequency.
//
// Bilinear transform of (s^2 + 1) / (s^2 + s / Q + 1), pre-warped: the zero falls exactly on the centre,
// and the -3 dB band is about f0 / Q wide (narrower by sin(w) / w, w = 2 pi f0 / fs). It rings at f0 for
// about Q / (pi f0) seconds after a step. Allocates nothing. One object belongs to one thread.
#pragma once

#include "core/Export.h"
#include "core/filters/DirectForm1.h"

class QZ_API CNotchFilter {
public:
    /// Centre f0 in Hz, fs in samples per second, quality factor Q; unchecked: the caller keeps 0 < f0 < fs
    /// / 2.
    CNotchFilter(double f0, int fs, double Q) { Init(f0, fs, Q); }
    /// Computes the coefficients and clears the delay line.
    void Init(double f0, int fs, double Q);
    /// One step, in the unit of the input; the int form truncates its result toward zero.
    double Filter(double x);
    int Filter(int x);
    /// Samples until the ringing after a step has fallen to 1 %; 0 for unstable coefficients. Away from f0
    /// there is no delay.
    int SettlingSamples() const;

    /// The coefficients, for banks.
    const SectionCoefficients<double>& Coefficients() const { return m_section; }

private:
    DirectForm1 m_section;  // coefficients and delay line
};
