// CMutiBlNotchFilter: what CBlNotchFilter does, for all leads of a frame in place. The name is spelled so.
// The constructor and Init allocate; Filter does not. One object belongs to one thread.
#pragma once

#include <cstddef>

#include "core/Export.h"
#include "core/filters/CombBank.h"

class QZ_API CMutiBlNotchFilter {
public:
    /// Mains frequency and sampling rate in Hz, chn leads; a count of 0 or below makes an empty bank.
    CMutiBlNotchFilter(int freq, int fs, int chn);
    virtual ~CMutiBlNotchFilter() = default;
    /// Gives every lead a new mains frequency.
    /// Deliberate: the rate is ignored; every lead keeps the one it was built with.
    void Init(int freq, int fs);
    /// One frame of chn samples. The 16-bit form stores its results with wrapping.
    void Filter(int* frame);
    void Filter(short* frame);
    /// Delay and settling time of each lead, see CBlNotchFilter; 0 for an empty bank.
    int DelaySamples() const { return m_leads == 0 ? 0 : m_combs.DelaySamples(); }
    int SettlingSamples() const { return m_leads == 0 ? 0 : m_combs.SettlingSamples(); }

private:
    template <typename Sample>
    void FilterFrame(Sample* frame);

    int m_freq = 0, m_fs = 0;  // mains frequency and rate, Hz
    std::size_t m_leads;
    CombBank m_combs;
};
