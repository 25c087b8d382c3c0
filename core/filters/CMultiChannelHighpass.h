// CMultiChannelHighpass: one CHighpassFilter per lead, on whole frames in place.
// The constructor allocates; Filter does not. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CHighpassFilter.h"

class QZ_API CMultiChannelHighpass {
public:
    /// Corner fc in Hz, raised to 0.01 Hz when below, fs in samples per second, chn leads; a count of 0 or
    /// below makes an empty bank.
    CMultiChannelHighpass(double fc, int fs, int chn);
    /// New coefficients and cleared delay lines for every lead.
    /// Deliberate: the corner is not raised here, as in CHighpassFilter::Init.
    void Init(double fc, int fs);
    /// One frame of chn samples. Results are truncated toward zero and stored with 16-bit wrapping.
    void Filter(short* frame);
    /// The settling time of each lead, see CHighpassFilter; 0 for an empty bank.
    int SettlingSamples() const { return m_filters.empty() ? 0 : m_filters.front().SettlingSamples(); }

private:
    std::vector<CHighpassFilter> m_filters;  // one per lead
};
