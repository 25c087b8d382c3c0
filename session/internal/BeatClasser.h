// BeatClasser: what kind of beat each of those is that BeatFinder finds.
//
//   beat -> cut out of all leads, 0.8 to 35 Hz, 0.12 s to both sides of its middle
//        -> compared with the latest shapes of the recording, each lead weighed as the finder weighs it
//        -> its interval and the next one, against the usual interval of normal beats
//        -> ventricular where shape, width and time together tell so
//
// A shape is a running mean of beats that correlate with 0.9 or more; six are kept. The first normal one is
// the most typical beat of the first seconds that does not come early, so that bigeminy from the start on is
// understood. Another shape becomes normal after 12 beats most of which come on time, as those of a bundle
// branch block do; a normal one whose beats come early is normal no more where another, at least half as
// frequent lately, comes on time. The usual interval is the median of the latest 12 between beats that are
// not ventricular; a pause after a ventricular beat counts half with the interval before it. Where intervals
// differ by themselves, as in atrial fibrillation, a beat that comes early tells less.
//
// Of several shapes the usual one is that which most of the latest beats are like, ventricular ones left out;
// another one that comes instead, as of a bypass tract that conducts and does not, is the usual one with its
// fifth beat. A beat that is like the usual one is of it, whatever else it is like.
//
// The evidence is added up with weights that were fitted by logistic regression to the beats of annotated
// recordings. A beat that would be ventricular but for the noise around it is unclassified, and so is one
// that the beginning or the end of the recording cuts. Where a pacemaker is at work, a beat that is like a
// normal shape is paced, early or not; any other one is judged as without.
//
// The class waits for the next beat, and at the most 1.8 s, so that it is known at once where the beat was
// searched back. Allocates in the constructor. One object belongs to one thread.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <vector>

#include "core/FloatingPoint.h"
#include "session/SessionTypes.h"
#include "session/internal/BeatFinder.h"

namespace qz {

class BeatClasser {
public:
    static constexpr int kNoShape = -1;
    struct Beat {
        long long frame = 0;  // as found
        BeatClass beatClass = BeatClass::Normal;
        int shape = kNoShape;  // number of the shape that it is of, in order of appearance
        bool isUsual = true;   // that is the usual one, or none
    };

    /// The finder is kept by reference: its signal and its weights are looked at. isPaced: a pacemaker is at
    /// work.
    explicit BeatClasser(const BeatFinder& finder, bool isPaced = false);

    /// Takes the beats that the finder has told with its newest frame. Returns those whose class has become
    /// known, in order of time; valid until the next call.
    const std::vector<Beat>& Take(const std::vector<long long>& found);
    /// The same for what the finder tells at the end: the classes of all beats are known.
    const std::vector<Beat>& Finish(const std::vector<long long>& found);

private:
    static constexpr std::size_t kMostShapes = 6;
    static constexpr std::size_t kKeptRrs = 12;
    struct Shape {
        std::vector<float> rows;       // [lead][place], each row with a mean of 0
        std::vector<double> energies;  // [lead], of its row
        long long last = 0;            // place of the beat that it took in last
        int beats = 0;
        double early = 0, onTime = 0;  // part of its latest beats that came so
        bool isNormal = false;
        int number = 0;    // in order of appearance
        double share = 0;  // of the latest beats that are of a normal shape
        double part = 0;   // of all the latest beats
    };
    struct Fit {
        double likeness = -1;
        std::size_t shift = 0;  // where it begins in what was cut out
    };
    struct Timing {
        double early = 0;      // part of the usual interval by which the beat comes too soon; late below 0
        double pause = 0;      // the same by which the next one comes too late
        double irregular = 0;  // median difference of the usual intervals from their median, part of it
    };

    void Await(const std::vector<long long>& found);
    void ClassifyNext(long long nextRr);
    void Start();
    bool IsWhole(long long place) const;
    double EarlyAtStart(std::size_t beat, std::size_t count) const;
    void CutOut(long long place);
    void MeasureShape(Shape& shape) const;
    const std::vector<float>& Row(std::size_t shift);
    Fit Compare(const Shape& shape);
    double WidthSeconds(std::size_t shift);
    double UsualRr() const;
    bool IsEarlyNormal(const Timing& timing) const;
    Timing TimingOf(long long place, long long nextRr) const;
    std::size_t TakeInto(std::size_t shape, bool isKnown, const Fit& fit, long long place);
    std::size_t LeastWanted(long long place) const;
    void LearnTiming(Shape& shape, const Timing& timing);
    void ChooseUsual(std::size_t shape);
    void LearnInterval(long long place, BeatClass kind);
    // To the nearest place; of no negative time.
    long long Places(double seconds) const { return std::llround(seconds * m_rate); }

    const BeatFinder& m_finder;
    bool m_isPaced;
    double m_rate;  // places per second
    std::size_t m_chn;
    std::vector<float> m_taps;
    std::size_t m_length;                        // of a shape, places
    std::size_t m_shifts;                        // how many of it are in what is cut out
    std::vector<float> m_rows;                   // [place][lead], what is cut out of
    std::vector<double> m_cut;                   // [lead][place]
    std::vector<double> m_squares;               // [place], of one lead
    std::vector<float> m_ones;                   // taps of a sum
    std::vector<double> m_energies;              // [lead][shift], of the cut out less its mean
    std::vector<float> m_sums;                   // [place][lead], what is cut out as it is filtered
    std::vector<double> m_products, m_likeness;  // [shift]
    std::vector<float> m_row;                    // of Row
    std::vector<Shape> m_shapes;                 // the first m_known of them are in use
    std::size_t m_known = 0;
    std::size_t m_usual = 0;           // of m_shapes
    int m_appeared = 1;                // shapes so far
    std::vector<long long> m_waiting;  // places of beats
    std::vector<Beat> m_classed;       // told last
    std::array<double, kKeptRrs> m_rrs{};
    std::size_t m_rrCount = 0;
    long long m_end = 0;                  // places of the recording so far
    long long m_last = -1, m_lastRr = 0;  // of the last beat; -1 and 0 before there is one
    double m_lastEarly = 0;
    BeatClass m_lastKind = BeatClass::Normal;
    int m_run = 0;  // supraventricular beats in a row
    bool m_isStarted = false;
};

}  // namespace qz
