#include "core/detect/CrtRRdetect.h"

#include <cstddef>

#include "core/FloatingPoint.h"

CrtRRdetect::CrtRRdetect(int fs, int acFreq)
    : m_fs(fs),
      m_acFreq(acFreq),
      m_threshold(fs),
      m_length(fs, kCurveWindowMs),
      m_highpass{CHighpassFilter(kHighpassHz, fs), CHighpassFilter(kHighpassHz, fs),
                 CHighpassFilter(kHighpassHz, fs)} {
    Init();
}

void CrtRRdetect::Init() {
    m_threshold.Init();
    m_length.Init();
    for (CLowpassFilter2& filter : m_lowpass) filter.Init(kLowpassHz, m_fs);
    for (CHighpassFilter& filter : m_highpass) filter.Init(kHighpassHz, m_fs);
    if (m_acFreq > 0)
        for (std::optional<CNotchFilter>& filter : m_notch) filter.emplace(m_acFreq, m_fs, kNotchQ);
}

int CrtRRdetect::QRSdetect(int x) { return RRdetect(m_length.Length(Condition(0, x))); }

int CrtRRdetect::QRSdetect(int a, int b, int c) {
    return RRdetect(m_length.Length(Condition(0, a), Condition(1, b), Condition(2, c)));
}

/// One lead through its own filters; every stage hands on whole numbers.
int CrtRRdetect::Condition(int lead, int x) {
    const auto i = static_cast<std::size_t>(lead);
    if (m_notch[i]) x = m_notch[i]->Filter(x);
    return m_highpass[i].Filter(m_lowpass[i].Filter(x));
}
