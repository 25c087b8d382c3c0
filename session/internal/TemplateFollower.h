// TemplateFollower: a template matcher for some or all leads of a frame, in source order, upright as they
// are, and ST levels against the PR segment.
//
// Three things about the matcher are looked after here:
// - It sees each lead's first sample as a step from zero, which would lower every later correlation: it is
//   first filled with as many zero frames as its beat is long.
// - Of all leads the last decides where R is found again after each beat, by its maximum and its steepest
//   upstroke between Q and J. The leads are handed over with the one last whose R stands out most, upside
//   down where no lead has an upright QRS, and the results are put back in order.
// - Its zero level is a share of the PR level at most rates (TemplGeometry::ZeroShare). What it missed is
//   measured on the averaged beat and added to its ST level.
//
// Only the constructor, Start and CopyBeat allocate. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "core/filters/CLowpassFilter2.h"
#include "core/stress/CZatMatch.h"
#include "session/SessionTypes.h"

namespace qz {

class TemplateFollower {
public:
    /// fs: samples per second; `leads`: indices into a frame, one at least; ST is measured postJms after
    /// J + 6 ms.
    TemplateFollower(int fs, std::vector<std::size_t> leads, int postJms);

    /// True if the averaged beat begins before what the engine takes for Q and goes on to the ST point. The
    /// engine measures no level on others.
    static bool Reaches(const LearnedBeat& beat, int fs, int postJms);
    /// Starts anew with this averaged beat, which Reaches: nothing of an earlier one stays.
    void Start(const LearnedBeat& beat);
    /// True once Start has been called.
    bool HasBeat() const { return m_match != nullptr; }
    /// Takes a conditioned frame. True where a beat has been folded into the averaged one; `event` then has
    /// the levels and slopes of these leads but of those that were left out. Its arrays have room for all
    /// leads of the frame.
    bool Match(const short* frame, BeatEvent& event);
    /// True if the next call of Match folds a beat in.
    bool IsFoldDue() const { return m_match->IsFoldDue(); }
    /// What the averaged beat of this lead of the frame counts against 1 of the beats to come, from 1 to
    /// kUsualOldWeight. With less than that the smoothed values begin anew.
    void SetOldWeight(std::size_t lead, short weight);
    static constexpr short kUsualOldWeight = 9;
    /// The beats to come leave this lead as it is, until it has a weight again.
    void LeaveOut(std::size_t lead) { SetOldWeight(lead, CZatMatch::kLeaveOut); }
    /// Frames since the R of the beat that Match has just folded in.
    int SamplesSinceR() const { return m_match->Geometry().length - 1 - m_match->Geometry().posR; }

    /// Writes the averaged beat as it is now, microvolts, [lead][sample], for these leads.
    void CopyBeat(std::vector<std::vector<float>>& rows) const;
    /// Where its points are; all 0 before Start.
    BeatPositionsMs Positions() const;

private:
    void OrderLeads(const LearnedBeat& beat);
    float Sign(std::size_t engineLead) const {
        return m_isLastInverted && engineLead + 1 == m_chn ? -1.0F : 1.0F;
    }

    int m_fs;
    std::vector<std::size_t> m_order;  // lead of the frame for each lead of the engine
    std::size_t m_chn;                 // of these
    int m_postJms;
    bool m_isLastInverted = false;       // the engine's last lead is upside down
    std::vector<short> m_frame;          // in the engine's order
    std::unique_ptr<CZatMatch> m_match;  // made anew by Start; null before
    // One per engine lead: smoothers of levels and slopes, and of what is added to the levels, alike, so that
    // it is as late as they are.
    std::vector<CLowpassFilter2> m_levelSmoothers, m_slopeSmoothers, m_zeroSmoothers;
    std::vector<bool> m_areFirst;     // these still need their first value
    std::vector<short> m_oldWeights;  // in the engine's order
};

}  // namespace qz
