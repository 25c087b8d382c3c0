// StressEngine: the library's stress engine with leads in source order, upright as they are, ST levels
// against the PR segment.
//
// Three things about the engine are looked after here:
// - It sees each lead's first sample as a step from zero, which would lower every later correlation: it is
//   first filled with as many zero frames as its beat is long.
// - Of all leads the last decides where R is found again after each beat, by its maximum and its steepest
//   upstroke between Q and J. The leads are handed over with the one last whose R stands out most, upside
//   down where no lead has an upright QRS, and the results are put back in order.
// - Its zero level is a fraction of the PR level at most rates (two thirds at 500 Hz, none at 250 Hz). What
//   it missed is measured on the averaged beat and added to its ST level.
//
// Owns the one stress engine of the process: one object at a time. Only Start and a matched beat allocate.
#pragma once

#include <cstddef>
#include <vector>

#include "core/filters/CLowpassFilter2.h"
#include "host/BeatLearner.h"
#include "host/Trends.h"

class StressEngine {
public:
    /// fs: samples per second; chn: leads; ST is measured postJms after J + 6 ms.
    StressEngine(int fs, std::size_t chn, int postJms);
    ~StressEngine();
    StressEngine(const StressEngine&) = delete;
    StressEngine& operator=(const StressEngine&) = delete;

    /// Whether the averaged beat goes on to the ST point.
    bool Reaches(const LearnedBeat& beat) const;
    /// Starts anew with this averaged beat, which reaches the ST point: nothing of an earlier one stays.
    void Start(const LearnedBeat& beat);
    /// Takes a conditioned frame. True where a beat has been folded into the averaged one; `reading` then has
    /// its level and slope.
    bool Match(const short* frame, STReading& reading);
    /// The R of a beat that has just been folded in lies so many frames back.
    int SamplesSinceR() const { return m_length - 1 - m_posR; }

    /// The averaged beat as it is now, microvolts, [lead][sample], and where its points are.
    std::vector<std::vector<float>> BeatUv() const;
    BeatPositionsMs Positions() const;

private:
    void OrderLeads(const LearnedBeat& beat);
    float Sign(std::size_t engineLead) const {
        return m_bLastInverted && engineLead + 1 == m_chn ? -1.0F : 1.0F;
    }
    int Samples(int ms) const { return ms * m_fs / 1000; }

    int m_fs;
    std::size_t m_chn;
    int m_postJms;
    std::vector<std::size_t> m_order;                        // source lead of each engine lead
    bool m_bLastInverted = false;                            // the engine's last lead is upside down
    std::vector<short> m_frame;                              // in the engine's order
    short m_length = 0, m_posR = 0, m_posQ = 0, m_posJ = 0;  // as the engine keeps them, in samples
    std::vector<CLowpassFilter2> m_zeroSmoothers;  // one per engine lead, as the engine smooths its ST levels
    bool m_bSmoothersPrimed = false;
};
