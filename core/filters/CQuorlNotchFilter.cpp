#include "core/filters/CQuorlNotchFilter.h"

#include "core/Arithmetic.h"

void CQuorlNotchFilter::Init(int freq, int fs) {
    if (freq > 0) m_freq = freq;
    if (fs > 0) m_fs = fs;
    if (m_freq == 0 || m_fs == 0) return;

    m_combFs = CombRateOf(m_freq, m_fs);
    m_bResample = m_combFs != m_fs;
    m_interpolator.Init(m_fs, m_combFs);
    m_comb.Init(m_freq, m_combFs);
}

int CQuorlNotchFilter::CombRateOf(int freq, int fs) {
    if (fs % freq == 0) return fs;
    const int period = fs / freq;
    const int evenPeriod = (period & ~1) + 2;
    return evenPeriod * freq;
}

int CQuorlNotchFilter::Filter(int x) {
    if (!m_bResample) return m_comb.Filter(x);
    const int count = m_interpolator.CalculateReturnValues(WrapToSample(x));
    short* values = m_interpolator.GetData();
    for (int i = 0; i < count; ++i) values[i] = WrapToSample(m_comb.Filter(values[i]));
    return values[0];
}
