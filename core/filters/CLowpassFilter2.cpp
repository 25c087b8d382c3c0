#include "core/filters/CLowpassFilter2.h"

#include <cmath>

#include "core/Arithmetic.h"

static constexpr double kSqrt2 = 1.4142135623730951;

void CLowpassFilter2::Init(double fc, int fs) {
    m_fc = fc;
    m_fs = fs;
    const double c = 1 / std::tan((DirectForm1::kPi * fc) / fs);
    // The grouping of both sums decides the last bit of the coefficients and, with it, some 16-bit outputs.
    const double d = kSqrt2 * c + c * c + 1;
    m_section.b0 = 1 / d;
    m_section.b1 = 2 / d;
    m_section.b2 = 1 / d;
    m_section.a1 = (c * c - 1) * (-2) / d;
    m_section.a2 = (c * (-kSqrt2) + c * c + 1) / d;
    m_section.Fill(0);
}

double CLowpassFilter2::DelaySamples() const {
    return 1.0 / (kSqrt2 * std::tan(DirectForm1::kPi * m_fc / m_fs));
}

int CLowpassFilter2::SettlingSamples() const { return TruncateToInt(m_section.SettlingSamples()); }

void CLowpassFilter2::InitialValue(double v) { m_section.Fill(v); }

double CLowpassFilter2::Filter(double x) {
    const double y = m_section.Output(x);
    m_section.Shift(x, y);
    return y;
}

int CLowpassFilter2::Filter(int x) { return TruncateToInt(Filter(static_cast<double>(x))); }
