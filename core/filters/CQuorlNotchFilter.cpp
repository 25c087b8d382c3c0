#include "core/filters/CQuorlNotchFilter.h"

#include "core/Arithmetic.h"

void CQuorlNotchFilter::Init(int freq, int fs) {
    m_bResample = false;
    if (freq > 0) m_freq = freq;
    if (fs > 0) m_fs = fs;
    if (m_freq == 0 || m_fs == 0) return;

    if (m_fs % m_freq == 0) {
        m_comb.Init(m_freq, m_fs);
        return;
    }
    m_bResample = true;
    const int period = m_fs / m_freq;
    const int evenPeriod = (period & ~1) + 2;
    m_combFs = evenPeriod * m_freq;
    m_interpolator.Init(m_fs, m_combFs);
    m_comb.Init(m_freq, m_combFs);
}

int CQuorlNotchFilter::Filter(int x) {
    if (!m_bResample) return m_comb.Filter(x);
    const int count = m_interpolator.CalculateReturnValues(WrapToSample(x));
    short* values = m_interpolator.GetData();
    for (int i = 0; i < count; ++i) values[i] = WrapToSample(m_comb.Filter(values[i]));
    return values[0];
}
