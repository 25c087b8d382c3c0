// BeatFollower: follows an averaged beat on all leads of a frame.
//
// The leads that were usable when the beat was learned are matched together, by majority: a beat that these
// fold in is told. Each other lead is matched alone, so that a bad one neither keeps the rest from matching
// nor goes without values where it is good: it has those of its own last beat, while that is not more than 10
// s ago.
//
// Start and BeatUv allocate. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <vector>

#include "session/SessionTypes.h"
#include "session/internal/TemplateFollower.h"

namespace qz {

class BeatFollower {
public:
    /// fs: samples per second; chn: leads; ST is measured postJms after J + 6 ms.
    BeatFollower(int fs, std::size_t chn, int postJms);

    /// True if ST can be measured on the averaged beat.
    bool Reaches(const LearnedBeat& beat) const { return TemplateFollower::Reaches(beat, m_fs, m_postJms); }
    /// Starts anew with this averaged beat, which Reaches: nothing of an earlier one stays.
    void Start(const LearnedBeat& beat);
    /// True once Start has been called.
    bool HasBeat() const { return !m_groups.empty(); }
    /// Takes a conditioned frame. True where a beat has been folded into the averaged one; `event` then has
    /// the levels and slopes, NaN for leads without. Its arrays have room for all leads.
    bool Match(const short* frame, BeatEvent& event);
    /// Frames since the R of the beat that Match has just folded in.
    int SamplesSinceR() const { return m_groups.front().SamplesSinceR(); }

    /// The averaged beat as it is now, microvolts, [lead][sample], and where its points are; empty, and all
    /// 0, before Start.
    std::vector<std::vector<float>> BeatUv() const;
    BeatPositionsMs Positions() const { return HasBeat() ? m_groups.front().Positions() : BeatPositionsMs{}; }

private:
    int m_fs;
    std::size_t m_chn;
    int m_postJms;
    std::vector<TemplateFollower> m_groups;  // the usable leads, then each other one alone
    std::vector<std::size_t> m_alone;        // lead of each group from the second on
    std::vector<long long> m_lastFolded;     // frame in which each of these last folded a beat in
    BeatEvent m_own;                         // what these have told
    long long m_frames = 0;                  // since Start
};

}  // namespace qz
