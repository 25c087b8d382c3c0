// BeatFollower: follows an averaged beat on all leads of a frame.
//
// Three leads or more that were usable when the beat was learned are matched together, by majority: a beat
// that these fold in is told. One or two know no majority: each is matched alone, and a beat that either
// folds in is told. The other leads are matched alone too, so that a bad one neither keeps the rest from
// matching nor goes without values where it is good. A lead that is matched alone has the values of its own
// last beat, while that is not more than 10 s ago.
//
// Of a beat only the good leads are folded in. Where a lead has had none for 10 s its averaged beat is of the
// past: it is renewed by the next beats, which count more at first, and has no values until it is.
//
// Start and BeatUv allocate. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "session/SessionTypes.h"
#include "session/internal/TemplateFollower.h"

namespace qz {

/// Whether a lead was good during the beat whose R was `samplesSinceR` frames ago.
using IsGoodLead = std::function<bool(std::size_t lead, long long samplesSinceR)>;

class BeatFollower {
public:
    static constexpr double kFoldedWithinSeconds = 0.1;  // all leads have folded a beat in

    /// fs: samples per second; chn: leads; ST is measured postJms after J + 6 ms; with the averaged beat that
    /// it begins with, which Reaches.
    BeatFollower(int fs, std::size_t chn, int postJms, const LearnedBeat& beat);

    /// Takes a conditioned frame. True where a beat has been folded into the averaged one, 0.1 s after the
    /// first lead has: `event` then has the levels and slopes, NaN for leads without. Its arrays have room
    /// for all leads.
    bool Match(const short* frame, const IsGoodLead& isGood, BeatEvent& event);
    /// There are no more frames: true where a beat was still to be told, as of Match.
    bool Finish(const IsGoodLead& isGood, BeatEvent& event);
    /// Frames since the R of the beat that has just been told.
    long long SamplesSinceR() const { return m_frames - m_toldR; }
    /// A bad beat has been folded into this lead: the next ones take the place of what there is.
    void Renew(std::size_t lead) { m_leads[lead].beats = 0; }

    /// The averaged beat as it is now, microvolts, [lead][sample], and where its points are.
    std::vector<std::vector<float>> BeatUv() const;
    BeatPositionsMs Positions() const { return m_groups.front().matcher.Positions(); }

private:
    // Leads that are matched together.
    struct Group {
        TemplateFollower matcher;
        std::vector<std::size_t> leads;
        bool tells = false;  // its beats are told
    };
    struct Lead {
        short beats = 0;         // in its averaged beat since that is of the present; no more than it holds
        long long lastFold = 0;  // frame
        bool isFolded = false;   // into it at the last fold of its group
    };

    void Tell(const IsGoodLead& isGood, BeatEvent& event);
    void Weigh(Group& group, const IsGoodLead& isGood);

    int m_fs;
    std::vector<Group> m_groups;
    std::vector<Lead> m_leads;
    BeatEvent m_own;             // values that the groups have told last
    long long m_frames = 0;      // taken
    long long m_firstFold = -1;  // frame of the first fold of a beat that is still to be told; -1: none
    long long m_r = 0;           // of that beat
    long long m_toldR = 0;       // of the one told last
};

}  // namespace qz
