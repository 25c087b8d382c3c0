#include "core/filters/CDoubleSampleRate.h"

#include "core/Arithmetic.h"

static constexpr int kH = 2;  // length of one input interval in output steps
static constexpr int kH2 = kH * kH;
static constexpr int kH3 = kH * kH * kH;

void CDoubleSampleRate::Init(double uVpb) {
    m_a = m_b = m_c = 0;
    m_m = 0;
    m_smallStep = kSmallStepUv / uVpb;
    m_jump = kJumpUv / uVpb;
    m_outputs = {};
}

int CDoubleSampleRate::CalculateReturnValues(short x) {
    // Second and third derivative of the cubic from b (tangent m) to c (tangent mNew); the grouping decides
    // the last bit.
    const double mNew = static_cast<double>(x - m_b) / (2 * kH);
    const double c3 = ((m_m + mNew) * 6.0) / kH2 + (12.0 * (m_b - m_c)) / kH3;
    const double c2 = ((m_b - m_c) * (-6.0)) / kH2 - (2 * (2 * m_m + mNew)) / kH;

    const int followed = m_b;
    int carried;
    if (IsIsolatedStep(x)) {
        m_outputs = {WrapToSample(m_b), x};
        carried = x;
    } else {
        m_outputs = {TruncateToSample(m_b + (c3 / 6.0 + (0.5 * c2 + m_m))), WrapToSample(m_c)};
        carried = m_c;
    }
    // Deliberate: the tangent carried over is the slope at the midpoint, not at c. It lags by half an
    // interval, and after a step it rings with a factor of -1/4 per input.
    m_m = m_m + c2 + 0.5 * c3;
    m_a = m_b;
    m_b = carried;
    m_c = x;
    return followed;
}

short* CDoubleSampleRate::GetDoubleSampleRateData(short x) {
    CalculateReturnValues(x);
    return m_outputs.data();
}

/// The size of a step on its low 16 bits.
/// Deliberate: a step of 40000 counts as 25536, and one of 32768 stays negative and counts as small.
static int StepSize(int difference) {
    const short low = WrapToSample(difference);
    return low < 0 ? WrapToSample(-low) : low;
}

/// One jump among the last three steps, the other two small.
bool CDoubleSampleRate::IsIsolatedStep(short x) const {
    const int s1 = StepSize(m_b - m_a);
    const int s2 = StepSize(m_c - m_b);
    const int s3 = StepSize(x - m_c);
    const auto isSmall = [this](int step) { return step <= m_smallStep; };
    const auto isJump = [this](int step) { return step > m_jump; };
    return (isSmall(s1) && isSmall(s3) && isJump(s2)) || (isSmall(s1) && isSmall(s2) && isJump(s3)) ||
           (isSmall(s2) && isSmall(s3) && isJump(s1));
}
