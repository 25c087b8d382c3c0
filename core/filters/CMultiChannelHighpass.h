// CMultiChannelHighpass: one CHighpassFilter per lead, on whole frames in place.
// The constructor allocates; Filter does not. One object belongs to one thread.
#pragma once

#include <cstddef>

#include "core/Export.h"
#include "core/filters/CHighpassFilter.h"
#include "core/filters/SectionBank.h"

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
    int SettlingSamples() const { return m_leads == 0 ? 0 : m_lead.SettlingSamples(); }

private:
    CHighpassFilter m_lead;  // tells what holds for each lead
    SectionBank m_bank;
    std::size_t m_leads;  // 0: nothing to do
};
