#include "core/filters/CHighpassFilter.h"

#include <algorithm>
#include <cmath>

#include "core/Arithmetic.h"

// Close to 2 cos(pi / 8) / pi but not equal to it; results depend on these seven digits.
static constexpr double kDamping = 0.5883003;
static constexpr double kLowestCornerHz = 0.01;

CHighpassFilter::CHighpassFilter(double fc, int fs) { Init(std::max(kLowestCornerHz, fc), fs); }

void CHighpassFilter::Init(double fc, int fs) {
    const double r = fs / fc;
    const double c = r / DirectForm1::kPi;
    const double c2 = c * c;
    const double d = kDamping * r + 1 + c2;
    m_section.b0 = c2 / d;
    m_section.b1 = -2 * m_section.b0;
    m_section.b2 = c2 / d;
    m_section.a1 = (c * (-2) * c + 2) / d;
    m_section.a2 = (-kDamping * r + 1 + c2) / d;
    m_section.Fill(0);
}

int CHighpassFilter::SettlingSamples() const { return TruncateToInt(m_section.SettlingSamples()); }

void CHighpassFilter::InitialValue(double v) { m_section.Fill(v); }

double CHighpassFilter::Filter(double x) {
    double y = m_section.Output(x);
    if (std::fabs(y) < kSilence) y = 0;
    m_section.Shift(x, y);
    return y;
}

int CHighpassFilter::Filter(int x) { return TruncateToInt(Filter(static_cast<double>(x))); }
