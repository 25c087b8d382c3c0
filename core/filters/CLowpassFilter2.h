// CLowpassFilter2: second-order Butterworth low-pass for one lead, one sample per call.
//
// Bilinear transform of 1 / (s^2 + sqrt(2) s + 1), pre-warped: -3 dB falls exactly on the cutoff.
// Delay at low frequencies: 1 / (sqrt(2) tan(pi fc / fs)) samples, about fs / (4.44 fc). Allocates nothing.
// One object belongs to one thread.
#pragma once

#include "core/Export.h"
#include "core/filters/DirectForm1.h"

class QZ_API CLowpassFilter2 {
public:
    /// Coefficients and delay line 0: answers 0 until Init(double, int) is called.
    CLowpassFilter2() = default;
    /// Cutoff fc in Hz, fs in samples per second; unchecked: the caller keeps 0 < fc < fs / 2. Other values
    /// give unstable or non-finite coefficients, which show in the output.
    CLowpassFilter2(double fc, int fs) { Init(fc, fs); }
    /// Stores fc and fs, computes the coefficients and clears the delay line.
    void Init(double fc, int fs);
    /// The same with the stored rate.
    void Init(double fc) { Init(fc, m_fs); }
    /// The same with the stored cutoff and rate: clears the delay line.
    void Init() { Init(m_fc, m_fs); }
    /// Fills the delay line with v: a signal that starts there shows no transient.
    void InitialValue(double v);
    void InitialValue(int v) { InitialValue(static_cast<double>(v)); }
    /// One step, in the unit of the input. The delay line keeps full precision; only the int form's result
    /// is truncated toward zero (-0.7 gives 0, 1.99 gives 1). Both forms share one delay line.
    double Filter(double x);
    int Filter(int x);
    /// The delay at low frequencies in samples: 1 / (sqrt(2) tan(pi fc / fs)).
    double DelaySamples() const;
    /// Samples until the answer to a step is within 1.5 % of its height; 0 for unstable coefficients.
    int SettlingSamples() const;

    /// The coefficients, for banks.
    const SectionCoefficients<double>& Coefficients() const { return m_section; }

private:
    DirectForm1 m_section;  // coefficients and delay line
    double m_fc = 0;        // cutoff, Hz
    int m_fs = 0;           // samples per second
};
