// CMutiBlNotchFilter: one CBlNotchFilter per lead, on whole frames in place. The name is spelled so.
// The constructor and Init allocate; Filter does not. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CBlNotchFilter.h"

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
    int DelaySamples() const { return m_filters.empty() ? 0 : m_filters.front().DelaySamples(); }
    int SettlingSamples() const { return m_filters.empty() ? 0 : m_filters.front().SettlingSamples(); }

private:
    std::vector<CBlNotchFilter> m_filters;  // one per lead
};
