// CMultiChannelLowpass2: one CLowpassFilter2 per lead, on whole frames in place.
// The constructor allocates; Filter does not. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CLowpassFilter2.h"

class QZ_API CMultiChannelLowpass2 {
public:
    /// Cutoff fc in Hz, fs in samples per second, chn leads; a count of 0 or below makes an empty bank.
    CMultiChannelLowpass2(double fc, int fs, int chn);
    /// New coefficients and cleared delay lines for every lead.
    void Init(double fc, int fs);
    /// One frame of chn samples. Results are truncated toward zero and stored with 16-bit wrapping.
    void Filter(short* frame);
    /// Delay and settling time of each lead, see CLowpassFilter2; 0 for an empty bank.
    double DelaySamples() const { return m_filters.empty() ? 0 : m_filters.front().DelaySamples(); }
    int SettlingSamples() const { return m_filters.empty() ? 0 : m_filters.front().SettlingSamples(); }

private:
    std::vector<CLowpassFilter2> m_filters;  // one per lead
};
