#include "core/filters/CNotchFilter.h"

#include <cmath>

#include "core/Arithmetic.h"

void CNotchFilter::Init(double f0, int fs, double Q) {
    const double c = 1 / std::tan((DirectForm1::kPi * f0) / fs);
    const double n = (1 + c * c) * Q;
    const double d = c + n;
    m_section.b0 = m_section.b2 = n / d;
    m_section.a1 = m_section.b1 = (c * c - 1) * (-2 * Q) / d;
    m_section.a2 = (n - c) / d;
    m_section.Fill(0);
}

int CNotchFilter::SettlingSamples() const { return TruncateToInt(m_section.SettlingSamples()); }

double CNotchFilter::Filter(double x) {
    const double y = m_section.Output(x);
    m_section.Shift(x, y);
    return y;
}

int CNotchFilter::Filter(int x) { return TruncateToInt(Filter(static_cast<double>(x))); }
