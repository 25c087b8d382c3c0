// RateFollower: heart rate from beats, and that of the leads' detectors by vote beside it.
// Allocates in the constructor. One object belongs to one thread.
#pragma once

#include <array>
#include <cstddef>

#include "core/detect/CMultirtRRdetect.h"
#include "core/stress/CZatMidRR.h"
#include "session/SessionTypes.h"

namespace qz {

class RateFollower {
public:
    /// fs: samples per second; chn: leads.
    RateFollower(int fs, std::size_t chn);

    /// Takes a conditioned frame, for the vote.
    void Take(const short* conditioned);
    /// The signal was missing on all leads up to this frame: an interval in which that lies is none.
    void TakeGap(long long endFrame) { m_gapEnd = endFrame; }
    /// A beat was found in this frame, later than the one before.
    IntervalEvent TakeBeat(long long frame);

private:
    static constexpr std::size_t kMostBeats = 64;  // in 10 s: beats are at least 0.2 s apart

    int m_fs;
    std::array<long long, kMostBeats> m_beats{};  // frames of the latest since the last pause, in a ring
    std::size_t m_count = 0;
    long long m_gapEnd = 0;  // of the latest gap
    CMultirtRRdetect m_detector;
    CZatMidRR m_votedRr;
    double m_votedBpm;
};

}  // namespace qz
