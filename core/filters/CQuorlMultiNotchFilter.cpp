#include "core/filters/CQuorlMultiNotchFilter.h"

#include <algorithm>

#include "core/filters/internal/CombFrame.h"

CQuorlMultiNotchFilter::CQuorlMultiNotchFilter(int freq, int fs, int chn)
    : m_leads(ElementCount(std::max(chn, 0))) {
    Init(freq, fs);
}

void CQuorlMultiNotchFilter::Init(int freq, int fs) {
    if (freq > 0) m_freq = freq;
    if (fs > 0) m_fs = fs;
    if (m_freq == 0 || m_fs == 0) return;
    const std::size_t fours = FoursOf(m_leads);
    m_previous.assign(fours, {});
    m_slope.assign(fours, {});
    m_first.assign(fours, {});
    m_combFs = CQuorlNotchFilter::CombRateOf(m_freq, m_fs);
    m_clock.Init(m_fs, m_combFs);
    m_combs.Init(m_freq, m_combFs, m_leads);
}

template <typename Sample>
void CQuorlMultiNotchFilter::FilterFrame(Sample* frame) {
    if (m_combs.IsEmpty()) return;
    if (m_combFs == m_fs) {
        CombFrame comb(m_combs);
        ChangeEachFour(frame, m_leads, [&comb](std::size_t four, IntLanes x) { return comb.Step(four, x); });
        return;
    }
    const DoubleLanes remaining = AllLanes(m_clock.Remaining());
    ChangeEachFour(frame, m_leads, [this, remaining](std::size_t four, IntLanes x) {
        const DoubleLanes input = ToDoubles(WrapToSamples(x));
        Store(m_slope[four], (input - Load(m_previous[four])) / remaining);
        return x;
    });
    m_clock.Step([this](int index, double time) {
        CombFrame comb(m_combs);
        for (std::size_t four = 0; four < m_first.size(); ++four) {
            const DoubleLanes value = AllLanes(time) * Load(m_slope[four]) + Load(m_previous[four]);
            const IntLanes filtered = comb.Step(four, WrapToSamples(TruncateInRange(value)));
            if (index == 0) Store(m_first[four], WrapToSamples(filtered));
        }
    });
    ChangeEachFour(frame, m_leads, [this](std::size_t four, IntLanes x) {
        Store(m_previous[four], ToDoubles(WrapToSamples(x)));
        return Load(m_first[four]);
    });
}

void CQuorlMultiNotchFilter::Filter(int* frame) { FilterFrame(frame); }
void CQuorlMultiNotchFilter::Filter(short* frame) { FilterFrame(frame); }
