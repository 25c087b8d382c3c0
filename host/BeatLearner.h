// BeatLearner: learns the first averaged beat, which the stress engine has to be handed before it can match.
//
//   stretch of conditioned signal
//     -> beats: one library detector per lead, a majority within 160 ms is a beat
//     -> position of each: steepest place over all leads, then best correlation with the most typical beat
//     -> clean beats: like the typical one on most leads, and from P to T not far from the average
//     -> average: mean of the middle half of the beats, sample by sample
//     -> Q onset and J point: where the spatial velocity leaves and regains the quiet of PR and ST
//
// A lead that is off or noisy is found by its beats being unlike each other; it is averaged like the others
// but has no say in anything. Where too few leads agree on beats, each lead is tried alone.
//
// Spatial velocity is the length of the vector of all leads' slopes; the search outward from the steepest
// place to a fraction of its slope follows Laguna, Jane, Caminal, "Automatic detection of wave boundaries in
// multilead ECG signals", Comput Biomed Res 1994; 27: 45-60, applied to all leads at once.
// Works on a whole stretch and allocates; not for use per sample.
#pragma once

#include <optional>
#include <vector>

/// The averaged beat as qzStressECGLib_InitTempl takes it. Positions count samples from the start of a row.
struct LearnedBeat {
    std::vector<std::vector<short>> rows;  // one per lead, `length` samples each, in units of the input
    short length = 0;
    short posR = 0;  // steepest place of the QRS over all leads
    short posQ = 0;  // Q onset
    short posJ = 0;  // end of the QRS
    int beatsFound = 0;
    int beatsUsed = 0;
    double likeness = 0;       // median correlation of a used beat with the average, 0..1
    std::vector<bool> usable;  // per lead: its beats are alike
    /// At least kConfidentBeats beats, and they are alike.
    bool confident = false;
};

class BeatLearner {
public:
    static constexpr int kFewestBeats = 5;     // with fewer there is no average
    static constexpr int kConfidentBeats = 8;  // with fewer the caller should wait for more signal

    /// fs: samples per second, 100 or more; chn: leads, 1 or more.
    BeatLearner(int fs, int chn);
    /// `frames` holds the leads interleaved, about 1 uV per unit. Nothing where fewer than kFewestBeats clean
    /// beats are found, or fewer than a third of all, or where the average has no QRS of 40 to 200 ms.
    std::optional<LearnedBeat> Learn(const std::vector<short>& frames) const;

private:
    using Positions = std::vector<int>;             // sample indices, ascending
    using Beat = std::vector<std::vector<double>>;  // [lead][sample]

    std::vector<Positions> DetectPerLead(const std::vector<short>& frames) const;
    Positions Vote(const std::vector<Positions>& detections) const;
    std::optional<LearnedBeat> LearnFrom(const std::vector<short>& frames, const Positions& detections,
                                         const std::vector<bool>& trusted) const;
    Positions SteepestPlaces(const std::vector<short>& frames, const Positions& detections,
                             const std::vector<bool>& trusted) const;
    Positions KeepCleanBeats(const std::vector<short>& frames, const Positions& beats,
                             std::vector<bool>& trusted) const;
    Positions KeepQuiet(const std::vector<short>& frames, const Positions& beats,
                        const std::vector<bool>& trusted) const;
    Beat Cut(const std::vector<short>& frames, int from, int length) const;
    Beat Average(const std::vector<short>& frames, const Positions& beats, int before, int length) const;
    void Delineate(LearnedBeat& beat, const Beat& average) const;
    int Samples(int ms) const { return static_cast<int>(static_cast<long long>(ms) * m_fs / 1000); }

    int m_fs;
    std::size_t m_chn;
};
