#include "core/filters/CBlNotchFilter.h"

static constexpr int kSamplesPerPeriod = 10;

void CBlNotchFilter::Init(int freq, int fs) {
    if (freq > 0) m_freq = freq;
    if (fs > 0) m_fs = fs;
    Destroy();
    m_turn = 0;
    if (m_freq == 0 || m_fs == 0) return;

    const int streams = StreamsOf(m_freq, m_fs);
    m_combs.assign(static_cast<std::size_t>(streams), CBaseNotchFilter(m_freq, m_fs / streams));
}

int CBlNotchFilter::StreamsOf(int freq, int fs) {
    const int step = kSamplesPerPeriod * freq;
    return fs % step == 0 ? fs / step : 1;
}

int CBlNotchFilter::Filter(int x) {
    if (m_combs.empty()) return x;
    CBaseNotchFilter& comb = m_combs[m_turn];
    m_turn = m_turn + 1 < m_combs.size() ? m_turn + 1 : 0;
    return comb.Filter(x);
}
