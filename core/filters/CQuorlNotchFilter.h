// CQuorlNotchFilter: the mains comb for one stream at a rate that need not be a multiple of the mains
// frequency. Where it is not, the stream is resampled to the next rate with an even number of samples per
// mains period (60 Hz at 500 Hz: 600 Hz; at 250 Hz: 360 Hz), and one of the comb's results per input is
// returned.
//
// The linear resampling takes its toll at low rates: 50 Hz at 360 Hz leaves a third of the tone, at 128 Hz
// most of it. Delay as CBaseNotchFilter, plus one input sample where resampled. Only Init allocates. One
// object belongs to one thread.
#pragma once

#include "core/Export.h"
#include "core/filters/CBlNotchFilter.h"
#include "core/filters/FreqInterpretate.h"

class QZ_API CQuorlNotchFilter {
public:
    /// Passes its input through until Init is called.
    CQuorlNotchFilter() = default;
    /// Mains frequency and sampling rate in Hz.
    CQuorlNotchFilter(int freq, int fs) { Init(freq, fs); }
    virtual ~CQuorlNotchFilter() = default;
    /// Stores the arguments that are positive (the others keep what is stored) and starts anew. Without both
    /// a frequency and a rate the input passes through.
    void Init(int freq, int fs);
    /// One sample in, one out, in the unit of the input. Where the stream is resampled the values are 16-bit:
    /// x is wrapped to 16 bits.
    int Filter(int x);
    /// As of CBaseNotchFilter, in samples of this stream, truncated where it is resampled; 0 where it passes
    /// through.
    int DelaySamples() const { return OfInput(m_comb.DelaySamples(), m_fs, m_combFs); }
    int SettlingSamples() const { return OfInput(m_comb.SettlingSamples(), m_fs, m_combFs); }
    /// The rate that the stream is resampled to, for a positive frequency and rate; fs where it is not.
    static int CombRateOf(int freq, int fs);
    /// Samples of the comb as samples of the input, which the resampling delays too.
    static int OfInput(int samples, int fs, int combFs) {
        if (combFs == fs || samples == 0) return samples;
        return FreqInterpretate::kDelaySamples +
               static_cast<int>(static_cast<long long>(samples) * fs / combFs);
    }

private:
    int m_freq = 0;            // mains frequency, Hz
    int m_fs = 0;              // samples per second
    bool m_bResample = false;  // the rate is no multiple of the frequency
    int m_combFs = 0;          // rate that the stream is resampled to
    CBlNotchFilter m_comb;
    FreqInterpretate m_interpolator;
};
