// CMultiChannelSmooth: one CSmoothFilter per lead, on whole frames in place.
// The constructor allocates; Smooth does not. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CSmoothFilter.h"

class QZ_API CMultiChannelSmooth {
public:
    /// fs in samples per second, chn leads (0 or below makes an empty bank), fc the cutoff of the inner
    /// low-passes in Hz.
    CMultiChannelSmooth(int fs, int chn, int fc);
    /// Clears every lead's rings and activity statistics; the inner low-passes keep their state.
    void Init();
    /// One frame of chn samples; results are stored with 16-bit wrapping.
    void Smooth(short* frame);
    /// Delay and settling time of each lead, see CSmoothFilter; 0 for an empty bank.
    int DelaySamples() const { return m_filters.empty() ? 0 : m_filters.front().DelaySamples(); }
    int SettlingSamples() const { return m_filters.empty() ? 0 : m_filters.front().SettlingSamples(); }

private:
    std::vector<CSmoothFilter> m_filters;  // one per lead
};
