// RateFollower: the heart rate over all leads from conditioned frames, from the first seconds on.
//
// The detectors take two seconds to find their threshold and a beat more to answer. They therefore see the
// first four seconds twice; the answers of the first time are dropped.
//
// Allocates in the constructor and, a few bytes once per beat, for the steadied interval. One object belongs
// to one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "core/detect/CMultirtRRdetect.h"
#include "core/stress/CZatMidRR.h"
#include "session/SessionTypes.h"

namespace qz {

class RateFollower {
public:
    /// fs in samples per second; chn leads; conditioned frame n shows the input of frame n - delaySamples.
    RateFollower(int fs, std::size_t chn, int delaySamples);
    /// Takes conditioned frame `index`, each one after the one before. Returns the answers that it gives,
    /// valid until the next call.
    const std::vector<IntervalEvent>& Take(const short* conditioned, long long index);
    /// There are no more frames: the answers of a signal that is shorter than the run-in.
    const std::vector<IntervalEvent>& Finish();

private:
    void Start();
    void Follow(const short* conditioned, long long index);

    int m_fs;
    std::size_t m_chn;
    int m_delaySamples;
    CMultirtRRdetect m_detector;
    CZatMidRR m_average;
    std::vector<short> m_runIn;  // the first seconds, interleaved
    std::size_t m_runInSize;     // samples of all leads; 0: the run-in is over
    long long m_next = 0;        // frame after the one taken last
    int m_answersToSkip = 0;     // not yet to be shown
    std::vector<IntervalEvent> m_events;
};

}  // namespace qz
