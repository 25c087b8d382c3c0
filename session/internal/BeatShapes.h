// BeatShapes: follows the averaged beats of up to three shapes side by side, as of a bundle branch block that
// comes and goes.
//
// Each shape has a BeatFollower of its own. The dominant one, which most of the latest beats are like, gives
// the values; beats of another shape are told without. A shape without a beat for two minutes is given up,
// and where there are three already, the rarest of them makes room for a new one.
//
// A new shape may begin with frames that the others have been given already: Next tells which frame is due.
// Beats are told in order of time, each once, as the dominant shape has it where several fold it in.
//
// Add, Template and the giving up of a shape allocate or release memory. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "session/SessionTypes.h"
#include "session/internal/BeatFollower.h"

namespace qz {

class BeatShapes {
public:
    /// fs: samples per second; chn: leads; ST is measured postJms after J + 6 ms.
    BeatShapes(int fs, std::size_t chn, int postJms);

    /// True if ST can be measured on the averaged beat.
    bool Reaches(const LearnedBeat& beat) const { return TemplateFollower::Reaches(beat, m_fs, m_postJms); }
    /// Follows this averaged beat too, which Reaches, from frame `from` on, at once as the dominant one or
    /// not. Returns the number that its beats tell as their shape.
    int Add(const LearnedBeat& beat, long long from, bool isDominant);
    /// False for a shape that has been given up.
    bool Follows(int number) const;
    /// True once Add has been called.
    bool HasBeat() const { return !m_shapes.empty(); }

    /// The number of the frame that Match is to be given.
    long long Next() const;
    /// Takes conditioned frame Next(). The frame of the R of a beat that is to be told; `event` has its
    /// values.
    std::optional<long long> Match(const short* frame, const IsGoodLead& isGood, BeatEvent& event);
    /// There are no more frames: as Match, again and again until there is no beat to be told.
    std::optional<long long> Finish(const IsGoodLead& isGood, BeatEvent& event);
    /// The frame of the R of a beat that the last call of Match has folded into a shape, told or not.
    const std::optional<long long>& LastFold() const { return m_lastFold; }

    /// A bad beat has been folded into this lead: the next ones take the place of what there is.
    void Renew(std::size_t lead);

    /// The dominant averaged beat as it is now, microvolts, [lead][sample], and where its points are; empty,
    /// and all 0, before Add.
    std::vector<std::vector<float>> BeatUv() const;
    BeatPositionsMs Positions() const;
    /// Those of a shape that it follows.
    BeatPositionsMs PositionsOf(int number) const;

private:
    struct Shape {
        int number = 0;  // in order of learning
        BeatFollower follower;
        long long next = 0;      // frame
        long long lastBeat = 0;  // frame of its R
        double share = 0;        // of the latest beats told, 0..1
    };

    void GiveUp(std::vector<Shape>::iterator shape);
    std::optional<long long> TakeBeat(std::size_t i, long long index, BeatEvent& event);
    std::optional<long long> Tell(BeatEvent& event);

    int m_fs;
    std::size_t m_chn;
    int m_postJms;
    std::vector<Shape> m_shapes;
    std::size_t m_dominant = 0;           // index of m_shapes
    int m_learned = 0;                    // shapes so far
    BeatEvent m_found;                    // values of the shape that matches
    std::optional<long long> m_lastFold;  // frame
    // A beat that waits for the dominant shape to have it too.
    std::optional<long long> m_waitingR;  // frame
    long long m_waitingUntil = 0;         // frame
    int m_waitingShape = 0;               // number
    BeatEvent m_waiting;                  // values
    std::optional<long long> m_lastR;     // of the beat told last, frame
};

}  // namespace qz
