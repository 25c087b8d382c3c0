#include "core/filters/CMutiBlNotchFilter.h"

#include <algorithm>

#include "core/filters/internal/CombFrame.h"

CMutiBlNotchFilter::CMutiBlNotchFilter(int freq, int fs, int chn)
    : m_fs(std::max(fs, 0)), m_leads(ElementCount(std::max(chn, 0))) {
    Init(freq, fs);
}

void CMutiBlNotchFilter::Init(int freq, int /*fs*/) {
    if (freq > 0) m_freq = freq;
    m_combs.Init(m_freq, m_fs, m_leads);
}

template <typename Sample>
void CMutiBlNotchFilter::FilterFrame(Sample* frame) {
    if (m_combs.IsEmpty()) return;
    CombFrame comb(m_combs);
    ChangeEachFour(frame, m_leads, [&comb](std::size_t four, IntLanes x) { return comb.Step(four, x); });
}

void CMutiBlNotchFilter::Filter(int* frame) { FilterFrame(frame); }
void CMutiBlNotchFilter::Filter(short* frame) { FilterFrame(frame); }
