// STMeter: ST of each lead against its PR segment, at points that follow the averaged beat.
//
//   beat folded in -> aligned with the average -> mean of the latest ten, the outer two at each end left out
//     -> each time that ten are new: onset and end of the QRS; taken over where three in a row agree
//     -> level at J, J + 20, J + 60 and J + 80 ms and at the rate-adapted point, slope, T wave
//
// The rate-adapted point is J + 80 ms, and above a limit of the heart rate J + 60 ms, as the T wave comes
// nearer; it returns when the rate is 5/min below the limit, so that it does not go to and fro. The slope is
// that from J to there (J to J + 80 ms: Rijneke, Ascoop, Talmon, Circulation 1980; 61: 671-678).
//
// A point is on the T wave if it lies behind the steepest place between ST and the peak of T, and that rise
// is one of a T wave: of 200 uV at least, and twice as steep as ST is before it. An ST that rises to the peak
// of T in one bow, as in acute ischemia, is measured.
//
// A high-pass lets the level sag after each QRS by a share of its area: by 20 uV at 0.05 Hz where S is 1.5 mV
// deep. What it took off is known and given back: x' = y' + sag y, the beginning of its inverse.
//
// A point that is set by hand stands in the place of the one that is followed.
//
// The mean is kept at about 250 Hz, which holds all that a low-pass of 40 Hz leaves.
// Allocates in the constructor and in Start. One object belongs to one thread.
#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "session/SessionTypes.h"
#include "session/internal/Delineator.h"
#include "session/internal/FrameRing.h"

namespace qz {

class STMeter {
public:
    /// fs: samples per second; chn: leads; above rateLimitBpm ST is measured at J + 60 ms; the frames have
    /// been through a high-pass whose answer to a step falls by sagPerSecond of it in a second at first.
    STMeter(int fs, std::size_t chn, double rateLimitBpm, double sagPerSecond);

    /// Begins with this averaged beat and its positions, as though ten beats had been like it. The engine has
    /// its R at its time rMs, from which points by hand count.
    void Start(const LearnedBeat& beat, double rMs);
    /// What it has of beats is of the past: there are no values until five new ones are in the mean.
    void Renew();
    /// Measures at these points from now on, which are in range.
    void SetPoints(const PointsByHand& points) { m_byHand = points; }
    /// A beat has its R at frame `r` of `frames`, whose values of the engine and heart rate `event` holds:
    /// folds it in, on leads that are good in it, and writes st, stPointMs, qMs and jMs. `event.st` has room
    /// for all leads. After Start.
    void Fold(const FrameRing& frames, long long r, const std::vector<bool>& isGood, BeatEvent& event);
    /// Onset and end of the QRS as they are measured from, ms from rMs of Start.
    double QFromRMs() const { return QMs() - m_rMs; }
    double JFromRMs() const { return JMs() - m_rMs; }
    /// The means as they are measured: what the high-pass took off given back, above the PR level, with a
    /// straight line between samples. Leads whose mean is of too few beats are left empty.
    MeasuredBeat Copy() const;

private:
    static constexpr std::size_t kBeats = 10;  // in the mean

    struct Lead {
        std::array<std::vector<short>, kBeats> beats;  // the latest ones, as conditioned, by fours of samples
        std::array<double, kBeats> moved{};  // so much downward they come to the level of the mean, uV
        std::size_t count = 0, next = 0;     // of them, and where the next one goes
    };

    int FindLag(const FrameRing& frames, long long r) const;
    void GiveBackSag(std::size_t lead, std::vector<double>& row) const;
    void TakeBeat(const FrameRing& frames, long long first, const std::vector<bool>& isGood);
    void FoldLead(std::size_t lead);
    void Average(std::size_t lead);
    void FollowPositions();
    double SteepestMs() const;
    double QMs() const { return m_byHand.qMs ? m_rMs + *m_byHand.qMs : m_at.qMs; }
    double JMs() const { return m_byHand.jMs ? m_rMs + *m_byHand.jMs : m_at.jMs; }
    STMeasure Measure(std::size_t lead, double pointMs);
    double PrUv(const std::vector<double>& mean) const;
    double SteepestOfT(const std::vector<double>& mean) const;
    double At(const std::vector<double>& mean, double ms) const;

    int m_fs;
    std::size_t m_chn;
    double m_rateLimitBpm;
    double m_sagPerSecond;
    long long m_step;                // frames from one sample of a mean to the next
    double m_hz;                     // samples of a mean per second
    int m_before = 0, m_length = 0;  // samples of a mean ahead of R, and in all
    std::vector<Lead> m_leads;
    int m_firstLag = 0;                        // of the beat that it began with, frames
    int m_lag = 0;                             // of the latest beat, frames
    std::vector<std::vector<double>> m_means;  // [lead][sample]
    std::vector<double> m_row;                 // mean of one lead, with what the high-pass took off
    std::vector<const short*> m_beat;          // frames of the beat that is taken
    std::vector<bool> m_usable;                // as the beat was learned
    std::vector<bool> m_counts;                // usable and good
    Delineator m_delineator;
    Delineation m_at;                     // as followed
    PointsByHand m_byHand;                // in the place of those
    double m_rMs = 0;                     // in the mean, from which these count
    std::array<Delineation, 3> m_recent;  // the latest ones that are sure
    std::size_t m_recentCount = 0;        // of them
    std::size_t m_foldsSince = 0;         // the latest delineation
    bool m_isFast = false;                // the rate-adapted point is that of high heart rates
};

}  // namespace qz
