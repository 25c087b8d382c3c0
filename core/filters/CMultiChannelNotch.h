// CMultiChannelNotch: one CNotchFilter per lead, on whole frames in place: mains of 60 Hz, and of 50 Hz at
// rates that are no multiple of it. At the others CQuorlMultiNotchFilter is better: it takes out the
// harmonics and the drift too. A notch leaves drift alone; CMultiChannelHighpass beside it does not.
//
// H(s) = (s^2 + 1) / (s^2 + s / Q + 1) per lead. No delay away from f0; after a step it rings at f0 and falls
// to 1 % in 1.5 Q fs / f0 samples. Five multiplications per sample and lead. The constructor allocates;
// Filter does not. One object belongs to one thread. Used by api/qzFilterBanksC.h.
#pragma once

#include <cstddef>

#include "core/Export.h"
#include "core/filters/CNotchFilter.h"
#include "core/filters/SectionBank.h"

class QZ_API CMultiChannelNotch {
public:
    /// Centre f0 in Hz, fs in samples per second, quality factor Q, unchecked as in CNotchFilter; chn leads,
    /// a count of 0 or below makes an empty bank.
    CMultiChannelNotch(double f0, int fs, double Q, int chn);
    /// One frame of chn samples. Results are truncated toward zero and stored with 16-bit wrapping.
    void Filter(short* frame);
    /// The settling time of each lead, see CNotchFilter; 0 for an empty bank.
    int SettlingSamples() const { return m_leads == 0 ? 0 : m_lead.SettlingSamples(); }

private:
    CNotchFilter m_lead;  // tells what holds for each lead
    SectionBank m_bank;
    std::size_t m_leads;  // 0: nothing to do
};
