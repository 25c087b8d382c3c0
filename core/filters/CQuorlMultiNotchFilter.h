// CQuorlMultiNotchFilter: the mains stage of the filter chain, what CQuorlNotchFilter does, for all leads of
// a frame in place. The constructor and Init allocate; Filter does not. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "core/Export.h"
#include "core/filters/CQuorlNotchFilter.h"
#include "core/filters/CombBank.h"

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
    int DelaySamples() const { return OfInput(m_combs.DelaySamples()); }
    int SettlingSamples() const { return OfInput(m_combs.SettlingSamples()); }

private:
    template <typename Sample>
    void FilterFrame(Sample* frame);
    int OfInput(int samples) const {
        return m_leads == 0 ? 0 : CQuorlNotchFilter::OfInput(samples, m_fs, m_combFs);
    }

    int m_freq = 0;    // mains frequency, Hz
    int m_fs = 0;      // samples per second
    int m_combFs = 0;  // rate that the stream is resampled to; m_fs where it is not
    std::size_t m_leads = 0;
    CombBank m_combs;
    // Of resampling.
    InterpolationClock m_clock;
    std::vector<FourDoubles> m_previous, m_slope;  // the frame before, and from it to the present one
    std::vector<FourInts> m_first;                 // what the comb made of the latest first output
};
