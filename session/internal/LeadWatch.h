// LeadWatch: when the signal of a lead was not that of the heart.
//
//   off         a line: it moves by less than 5 uV for two seconds, as that of a loose electrode
//   disturbed   its level jumps by more than 3 mV within 0.2 s, or whoever conditions it cannot follow
//
// Levels are means of 0.1 s: a narrow QRS complex comes back to its own within one. A wide one takes longer:
// a jump is none if the level is again within 1.5 mV of that before the beat, from 0.5 s before the jump to
// 0.4 s after it. Disturbances within a second are one.
//
// What is more than two minutes past is forgotten. Allocates in the constructor. One object belongs to one
// thread.
#pragma once

#include <cstddef>
#include <vector>

#include "core/filters/FourLeads.h"
#include "session/SessionTypes.h"

namespace qz {

/// From the first moment on and before the second.
struct Span {
    double fromSeconds = 0, toSeconds = 0;
};

class LeadWatch {
public:
    /// fs in samples per second, 10 or more; chn leads; uVpb in microvolts per unit of the frames.
    LeadWatch(int fs, std::size_t chn, double uVpb);

    /// Takes the next frame, in units of uVpb.
    void Take(const short* frame);
    /// The lead is disturbed in the frame taken last.
    void Disturb(std::size_t lead);
    /// There are no more frames: what is disturbed ends here.
    void Finish();
    /// What has happened to leads since the last call of this, in order of its beginning to be known; valid
    /// until the next Take.
    const std::vector<LeadEvent>& Events();

    /// True while the lead is off or disturbed.
    bool IsBad(std::size_t lead) const { return m_leads[lead].isOff || m_leads[lead].isDisturbed; }
    /// True while every lead is off: there is no signal. Known two seconds late, its end at once.
    bool AreAllOff() const;
    /// True if the lead was not off within `span`, and not disturbed within it or swingSeconds before it.
    /// Fast only for spans near the present.
    bool IsGood(std::size_t lead, const Span& span, double swingSeconds) const;

private:
    // What every frame changes, of four leads: most have nothing to tell.
    struct Course {
        FourInts lowest, highest;             // since they last moved
        FourInts still;                       // frames since then, up to those of a line
        FourInts newSum, oldSum, earlierSum;  // of windows: the newest, 0.2 s and 0.5 s before it
        FourInts lineAfter;                   // frames; where there is no lead, more than any
    };
    struct Lead {
        int sumBefore = 0;       // earlierSum at what may be a jump
        double jumpSeconds = 0;  // when that was
        bool isJumping = false;  // and not yet judged
        bool isOff = false;
        bool isDisturbed = false;          // and not yet calm for a second
        std::vector<Span> off, disturbed;  // of the last two minutes, in order of time
    };

    int Of(FourInts Course::*what, std::size_t lead) const {
        return (m_courses[lead / kLanes].*what).lanes[lead % kLanes];
    }
    void LookForLine(std::size_t lead);
    void LookForJump(std::size_t lead, double now);
    void JudgeJump(std::size_t lead);
    void Mark(std::size_t lead, double seconds);
    void Tell(LeadEvent::Kind kind, std::size_t lead, double seconds);
    void Forget(std::vector<Span>& spans) const;
    double Seconds(long long frame) const { return static_cast<double>(frame) / m_fs; }

    int m_fs;
    int m_moveUnits;            // what moves at least so much is no line, units of the frames
    int m_flatFrames;           // and what does not for so long is one
    std::size_t m_window;       // of a mean, samples of all leads
    int m_jumpChange;           // a jump is more than this, from Course::oldSum to newSum
    std::vector<short> m_ring;  // the latest frames, three windows, interleaved
    std::size_t m_next = 0;     // in the ring
    long long m_frames = 0;
    std::vector<Course> m_courses;
    std::vector<Lead> m_leads;
    bool m_isAnyWatched = false;      // a lead is off, disturbed or jumping
    std::vector<LeadEvent> m_news;    // not yet told
    std::vector<LeadEvent> m_events;  // told last
};

}  // namespace qz
