// CBlNotchFilter: the mains comb for one stream at any rate.
//
// Where the rate is a multiple of ten times the mains frequency, the samples are dealt round-robin to
// rate / (10 freq) combs, each of which so runs at ten samples per mains period; otherwise one comb sees
// every sample (and, for an exact comb, the rate must then be a multiple of the frequency:
// CQuorlNotchFilter sees to that). Delay as CBaseNotchFilter: about three quarters of a second.
// Only Init allocates. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "core/Export.h"
#include "core/filters/CBaseNotchFilter.h"

class QZ_API CBlNotchFilter {
public:
    /// Passes its input through until Init is called.
    CBlNotchFilter() = default;
    /// Mains frequency and sampling rate in Hz.
    CBlNotchFilter(int freq, int fs) { Init(freq, fs); }
    virtual ~CBlNotchFilter() = default;
    /// Stores the arguments that are positive (the others keep what is stored) and builds fresh combs.
    /// Without both a frequency and a rate none is built, and the input passes through.
    void Init(int freq, int fs);
    /// Releases the combs; the input passes through until the next Init.
    void Destroy() { m_combs.clear(); }
    /// One sample in, one out, in the unit of the input.
    int Filter(int x);
    /// As of CBaseNotchFilter, in samples of this stream; 0 where it passes through.
    int DelaySamples() const { return m_combs.empty() ? 0 : Streams() * m_combs.front().DelaySamples(); }
    int SettlingSamples() const {
        return m_combs.empty() ? 0 : Streams() * m_combs.front().SettlingSamples();
    }
    /// To how many combs the samples are dealt, for a positive frequency and rate.
    static int StreamsOf(int freq, int fs);

private:
    int Streams() const { return static_cast<int>(m_combs.size()); }

    int m_freq = 0;                         // mains frequency, Hz
    int m_fs = 0;                           // samples per second
    std::size_t m_turn = 0;                 // the comb that gets the next sample
    std::vector<CBaseNotchFilter> m_combs;  // empty: pass through
};
