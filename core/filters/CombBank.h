// CombBank: what CBlNotchFilter does, for all leads of a frame, four leads side by side. The leads share the
// positions in their rings.
//
// internal/CombFrame.h makes the steps: 20 instructions per sample and lead. Only Init allocates. One object
// belongs to one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "core/Export.h"
#include "core/filters/CBaseNotchFilter.h"
#include "core/filters/FourLeads.h"

class QZ_API CombBank {
public:
    /// Builds fresh combs; none without a mains frequency and a rate, in Hz.
    void Init(int freq, int fs, std::size_t leads);
    /// True where the input passes through.
    bool IsEmpty() const { return m_lags.period == 0; }
    /// As of CBlNotchFilter, in samples of the bank's rate.
    int DelaySamples() const { return Streams() * m_lags.delay; }
    int SettlingSamples() const { return Streams() * m_lags.longest; }

private:
    friend class CombFrame;

    /// The rings of one comb, of rows over all leads; as in CBaseNotchFilter.
    struct Comb {
        std::vector<FourInts> input, accumulators;
        int inputPos = 0, accumulatorPos = 0;
    };

    int Streams() const { return static_cast<int>(m_combs.size()); }

    CombLags m_lags;            // of every comb
    double m_reciprocal = 0;    // of the divisor
    std::size_t m_fours = 0;    // of leads
    std::size_t m_turn = 0;     // the comb that gets the next frame
    std::vector<Comb> m_combs;  // frames are dealt to them by turns
};
