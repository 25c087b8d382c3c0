// StressSession: one stress test from raw frames to heart rate and ST values, as its frames come.
//
//   frames -> conditioning -----> [learns the first averaged beat] -> matching ----> OnBeat
//      +-> beats, found on all leads at once --------------------------------------> OnInterval
//      +-> leads that are off or disturbed ----------------------------------------> OnLead
//      +-> how good the signal of each lead is -------------------------------------> OnQuality
//
// The session learns the first averaged beat from the first 10 to 60 s, or is given one; from then on every
// beat that matches is folded into it, and ST is measured on it. The frames that it learned from are matched
// too, afterwards, some with each new frame, so that nothing is lost. Where beats do not match, it learns
// another averaged beat from them, within 10 s where they are most of the beats. Up to three are followed
// side by side, as of a bundle branch block that comes and goes; ST is that of the dominant one. Kinds of
// normal beats that one averaged beat is like, as with a bypass tract that conducts and does not, are
// measured apart.
//
// Work per frame is bounded: learning is cut into small pieces, of which a few are done with each frame.
// Memory is bounded: 40 s of conditioned frames are kept, and up to 70 s until the first averaged beat is
// learned, in blocks that are allocated as they fill. Allocates in the constructor besides, while it learns a
// beat, where a kind of normal beats is new, a few bytes once per beat, and in Template, Measured and the
// functions that return strings; nothing per frame.
//
// Any number of sessions may run at once, none knows of another. One session belongs to one thread at a time.
// C++17, standard library alone.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "core/Export.h"
#include "session/SessionTypes.h"

namespace qz {

/// Receives events within Push and Finish, those of one kind in order of time; what happens to leads is so
/// for each lead, and of averaged beats one that is learned later may match from earlier on. Arguments are
/// valid for the call. It must not throw, nor call the session but for its const functions.
class QZ_API SessionObserver {
public:
    virtual ~SessionObserver();
    /// A conditioned frame, one microvolt per unit, and the time that it shows, from 0 on.
    virtual void OnConditioned(const short* /*uV*/, double /*seconds*/) {}
    virtual void OnInterval(const IntervalEvent& /*interval*/) {}
    virtual void OnBeat(const BeatEvent& /*beat*/) {}
    virtual void OnLead(const LeadEvent& /*event*/) {}
    virtual void OnQuality(const QualityEvent& /*event*/) {}
    /// An averaged beat has been learned, or taken over from the options: matching begins with the signal at
    /// fromSeconds. `again`: it takes the place of an earlier one.
    virtual void OnLearned(const LearnedBeat& /*beat*/, double /*fromSeconds*/, bool /*again*/) {}
    /// No averaged beat could be learned to the end of the signal, or ST cannot be measured on it: there are
    /// heart rates, but no ST values. For people, one line.
    virtual void OnNotLearned(const std::string& /*why*/) {}
};

class QZ_API StressSession {
public:
    /// Empty where the options fit together; else why not, for people, one line.
    [[nodiscard]] static std::string Refusal(const SessionOptions& options);
    /// Options that Refusal accepts, otherwise std::invalid_argument; std::bad_alloc without memory. The
    /// observer is kept by reference.
    StressSession(const SessionOptions& options, SessionObserver& observer);
    ~StressSession();
    StressSession(const StressSession&) = delete;
    StressSession& operator=(const StressSession&) = delete;

    /// Takes `count` frames, from none to a day: one sample per lead each, in lead order, in units of uVpb.
    /// Results do not depend on how a signal is cut into calls. Never throws; after Finish it does nothing.
    void Push(const short* frames, std::size_t count) noexcept;
    /// The signal has ended: gives out what the filters hold and what is still to be learned and matched.
    /// Once.
    void Finish() noexcept;
    /// From the next beat on it is measured at these points, and at no others that were set before;
    /// Positions, MeasuredPositions and Measured have them at once. False, and nothing is done, where one of
    /// them is out of its range.
    [[nodiscard]] bool SetPoints(const PointsByHand& points) noexcept;

    /// The averaged beat as it is now, microvolts, [lead][sample]; empty before there is one.
    std::vector<std::vector<float>> Template() const;
    /// Where it has its points; all 0 before there is one.
    BeatPositionsMs Positions() const;
    /// The same, q and j being those that the latest beat was measured at. As Positions before there is one.
    BeatPositionsMs MeasuredPositions() const;
    /// The means of the latest beats that BeatEvent::st was told of last, at the sampling rate; before there
    /// is one the learned beat. The Template follows a change otherwise: it is a running average with weights
    /// that fade, and keeps the points it was learned with.
    MeasuredBeat Measured() const;
    /// The delay of the filters, which is taken off all times, ms.
    double DelayMs() const;
    /// The filters in words.
    const std::string& Conditioning() const;
    /// Frames taken so far.
    long long Frames() const;

private:
    class Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qz
