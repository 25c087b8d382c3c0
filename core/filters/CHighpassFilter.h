// CHighpassFilter: second-order high-pass for one lead, one sample per call; takes out baseline wander.
//
// Bilinear transform with the small angle in place of the tangent, and a damping of its own: at fc the gain
// is 0.54 (-5.3 dB), and -3 dB lies at 1.39 fc, for an fc far below fs. Allocates nothing. One object belongs
// to one thread.
#pragma once

#include "core/Export.h"
#include "core/filters/DirectForm1.h"

class QZ_API CHighpassFilter {
public:
    /// Outputs smaller than this become exactly 0.
    static constexpr double kSilence = 1e-100;

    /// Corner fc in Hz, raised to 0.01 Hz when below, fs in samples per second; otherwise unchecked.
    CHighpassFilter(double fc, int fs);
    /// Computes the coefficients and clears the delay line.
    /// Deliberate: does not raise the corner as the constructor does; fc = 0 gives non-finite coefficients.
    void Init(double fc, int fs);
    /// Fills the delay line, inputs and outputs alike, with v: the output then starts near v and decays.
    void InitialValue(double v);
    void InitialValue(int v) { InitialValue(static_cast<double>(v)); }
    /// One step, in the unit of the input. An output smaller than kSilence becomes exactly 0, so that
    /// silence decays to 0 and not into slow denormal numbers. The int form truncates its result toward zero.
    double Filter(double x);
    int Filter(int x);
    /// Samples until the answer to a step has fallen below 3 %; 0 for coefficients that are not finite. There
    /// is no delay well above the corner.
    int SettlingSamples() const;

    /// The coefficients, for banks.
    const SectionCoefficients<double>& Coefficients() const { return m_section; }

private:
    DirectForm1 m_section;  // coefficients and delay line
};
