// BeatLearner: learns the first averaged beat, which the stress engine has to be handed before it can match.
//
//   stretch of conditioned signal
//     -> beats: one library detector per lead, a majority within 160 ms is a beat
//     -> position of each: steepest place over all leads, then best correlation with the most typical beat
//     -> clean beats: like the typical one on most leads, and from P to T not far from the average
//     -> per lead the beats that it shows, where it was off or disturbed for a while
//     -> average: mean of the middle half of these, sample by sample
//     -> Q onset and J point: where the spatial velocity leaves and regains the quiet of PR and ST
//
// The typical beat is the one that most others are like. Where ectopic beats are nearly as many as the
// others, or more, it is of the kind that comes later after the beat before it: ectopic beats are premature.
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
#include <string>
#include <vector>

/// The averaged beat as qzStressECGLib_InitTempl takes it. Positions count samples from the start of a row.
struct LearnedBeat {
    std::vector<std::vector<short>> rows;  // one per lead, `length` samples each, in units of the input
    short length = 0;
    short posR = 0;          // steepest place of the QRS over all leads
    short posQ = 0;          // Q onset
    short posJ = 0;          // end of the QRS
    std::string record;      // that it was learned from, as its owner names it
    double fromSeconds = 0;  // length of the stretch
    int beatsFound = 0;
    int beatsUsed = 0;
    double likeness = 0;       // median correlation of a used beat with the average, 0..1
    std::vector<bool> usable;  // per lead: its beats are alike
    /// At least kConfidentBeats beats, every other of them gives the same average as the rest, and the QRS
    /// stands out from what is before and after it.
    bool confident = false;
};

class BeatLearner {
public:
    static constexpr int kFewestBeats = 5;     // with fewer there is no average
    static constexpr int kConfidentBeats = 8;  // with fewer the caller should wait for more signal
    static constexpr int kNarrowestQrsMs = 40, kWidestQrsMs = 200;

    /// fs: samples per second, 100 or more; chn: leads, 1 or more.
    BeatLearner(int fs, int chn);
    /// `frames` holds the leads interleaved, about 1 uV per unit. Nothing where fewer than kFewestBeats clean
    /// beats are found, or fewer than a third of all, or where the average has no QRS of 40 to 200 ms.
    std::optional<LearnedBeat> Learn(const std::vector<short>& frames) const;

private:
    using Positions = std::vector<int>;             // sample indices, ascending
    using Beat = std::vector<std::vector<double>>;  // [lead][sample]
    /// What is cut out around a beat: `length` samples from `before` samples ahead of it, every `step`th.
    struct Window {
        int before = 0, length = 0, step = 1;
    };

    std::vector<Positions> DetectPerLead(const std::vector<short>& frames) const;
    Positions Vote(const std::vector<Positions>& detections) const;
    std::optional<LearnedBeat> LearnFrom(const std::vector<short>& frames, const Positions& detections,
                                         std::vector<bool> trusted) const;
    Positions SteepestPlaces(const std::vector<short>& frames, const Positions& detections,
                             const std::vector<bool>& trusted) const;
    Positions KeepCleanBeats(const std::vector<short>& frames, const Positions& beats,
                             const std::vector<bool>& trusted) const;
    std::vector<Positions> KeepPerLead(const std::vector<short>& frames, const Positions& beats,
                                       std::vector<bool>& usable) const;
    Positions KeepQuiet(const std::vector<short>& frames, const Positions& beats,
                        const std::vector<bool>& trusted) const;
    bool HalvesAgree(const std::vector<short>& frames, const std::vector<Positions>& beats,
                     const std::vector<bool>& usable, const Window& window) const;
    Window QrsWindow() const;
    std::vector<double> CutLead(const std::vector<short>& frames, std::size_t lead, int beat,
                                const Window& window) const;
    Beat Shape(const std::vector<short>& frames, int beat, const std::vector<bool>& trusted) const;
    std::vector<double> AverageLead(const std::vector<short>& frames, std::size_t lead,
                                    const Positions& beats, const Window& window) const;
    bool Delineate(LearnedBeat& beat, const Beat& average) const;
    int Samples(int ms) const { return static_cast<int>(static_cast<long long>(ms) * m_fs / 1000); }

    int m_fs;
    std::size_t m_chn;
};
