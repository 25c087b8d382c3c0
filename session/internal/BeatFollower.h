// BeatFollower: follows an averaged beat on all leads of a frame.
//
// Three leads or more that were usable when the beat was learned are matched together, by majority: a beat
// that these fold in is told. One or two know no majority: each is matched alone, and a beat that either folds
// in is told. The other leads are matched alone too, so that a bad one neither keeps the rest from matching
// nor goes without values where it is good. A lead that is matched alone has the values of its own last beat,
// while that is not more than 10 s ago.
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
    /// Takes a conditioned frame. True where a beat has been folded into the averaged one, 0.1 s after the
    /// first lead has: `event` then has the levels and slopes, NaN for leads without. Its arrays have room for
    /// all leads.
    bool Match(const short* frame, BeatEvent& event);
    /// Frames since the R of the beat that Match has just told.
    int SamplesSinceR() const { return static_cast<int>(m_frames - m_toldR); }

    /// The averaged beat as it is now, microvolts, [lead][sample], and where its points are; empty, and all
    /// 0, before Start.
    std::vector<std::vector<float>> BeatUv() const;
    BeatPositionsMs Positions() const {
        return HasBeat() ? m_groups.front().matcher.Positions() : BeatPositionsMs{};
    }

private:
    // Leads that are matched together.
    struct Group {
        TemplateFollower matcher;
        std::vector<std::size_t> leads;
        bool tells = false;           // its beats are told
        long long lastFolded = -1;    // frame in which it last folded a beat in; -1: none
    };

    int m_fs;
    std::size_t m_chn;
    int m_postJms;
    std::vector<Group> m_groups;
    BeatEvent m_own;            // values that the groups have told last
    long long m_frames = 0;     // since Start
    long long m_firstFold = -1; // frame of the first fold of a beat that is still to be told; -1: none
    long long m_r = 0;          // of that beat
    long long m_toldR = 0;      // of the one told last
};

}  // namespace qz
