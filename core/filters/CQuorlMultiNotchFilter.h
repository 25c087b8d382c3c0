// CQuorlMultiNotchFilter: the mains stage of the filter chain, one CQuorlNotchFilter per lead, on whole
// frames in place. The constructor and Init allocate; Filter does not. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CQuorlNotchFilter.h"

class QZ_API CQuorlMultiNotchFilter {
public:
    /// No leads.
    CQuorlMultiNotchFilter() = default;
    /// Mains frequency and sampling rate in Hz, chn leads; a count of 0 or below makes an empty bank.
    CQuorlMultiNotchFilter(int freq, int fs, int chn);
    virtual ~CQuorlMultiNotchFilter() = default;
    /// CQuorlNotchFilter::Init of every lead.
    void Init(int freq, int fs);
    /// One frame of chn samples. The 16-bit form stores its results with wrapping.
    void Filter(int* frame);
    void Filter(short* frame);
    /// Delay and settling time of each lead, see CQuorlNotchFilter; 0 for an empty bank.
    int DelaySamples() const { return m_filters.empty() ? 0 : m_filters.front().DelaySamples(); }
    int SettlingSamples() const { return m_filters.empty() ? 0 : m_filters.front().SettlingSamples(); }

private:
    std::vector<CQuorlNotchFilter> m_filters;  // one per lead
};
