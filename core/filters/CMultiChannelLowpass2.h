// CMultiChannelLowpass2: one CLowpassFilter2 per lead, on whole frames in place.
// The constructor allocates; Filter does not. One object belongs to one thread.
#pragma once

#include <cstddef>

#include "core/Export.h"
#include "core/filters/CLowpassFilter2.h"
#include "core/filters/SectionBank.h"

class QZ_API CMultiChannelLowpass2 {
public:
    /// Cutoff fc in Hz, fs in samples per second, chn leads; a count of 0 or below makes an empty bank.
    CMultiChannelLowpass2(double fc, int fs, int chn);
    /// New coefficients and cleared delay lines for every lead.
    void Init(double fc, int fs);
    /// One frame of chn samples. Results are truncated toward zero and stored with 16-bit wrapping.
    void Filter(short* frame);
    /// Delay and settling time of each lead, see CLowpassFilter2; 0 for an empty bank.
    double DelaySamples() const { return m_leads == 0 ? 0 : m_lead.DelaySamples(); }
    int SettlingSamples() const { return m_leads == 0 ? 0 : m_lead.SettlingSamples(); }

private:
    CLowpassFilter2 m_lead;  // tells what holds for each lead
    SectionBank m_bank;
    std::size_t m_leads;  // 0: nothing to do
};
