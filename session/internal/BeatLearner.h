// BeatLearner: learns the first averaged beat, which a matcher has to be handed before it can match.
//
//   stretch of conditioned signal and the beats that were found in it
//     -> position of each: steepest place over all leads, then best correlation with the most typical beat
//     -> clean beats: like the typical one on most leads, and from P to T not far from the average
//     -> per lead the beats that it shows, where it was off or disturbed for a while
//     -> average: mean of the middle half of these, sample by sample
//     -> Q onset and J point: see Delineator
//     -> usable leads: those that alone match nearly as many beats of the stretch as the best one does
//
// The typical beat is the one that most others are like. Where ectopic beats are nearly as many as the
// others, or more, it is of the kind that comes later after the beat before it: ectopic beats are premature.
//
// A lead that is off or noisy is found by its beats being unlike each other; it is averaged like the others
// but decides nothing.
//
// The work is cut into pieces, so that a live signal does not wait for it: a piece is some work for one lead
// or one beat, and takes a millisecond or two at 12 leads, 500 Hz and a stretch of 60 s. Allocates. One
// object belongs to one thread.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "session/SessionTypes.h"
#include "session/internal/Delineator.h"
#include "session/internal/TemplateFollower.h"

namespace qz {

class BeatLearner {
public:
    static constexpr int kFewestBeats = 5;     // with fewer there is no average
    static constexpr int kConfidentBeats = 8;  // with fewer the caller should wait for more signal
    static constexpr int kNarrowestQrsMs = 40, kWidestQrsMs = 240;

    /// fs: samples per second, 100 or more; chn: leads, 1 or more.
    BeatLearner(int fs, std::size_t chn) : m_fs(fs), m_chn(chn), m_delineator(chn) {}

    /// Begins with a stretch of signal: the leads interleaved, about 1 uV per unit; the frames in which beats
    /// were found, each within 80 ms of the steepest place of its QRS; and per lead whether the beats stand
    /// out in it. Gives up an earlier stretch.
    void Begin(std::vector<short> frames, std::vector<int> beats, std::vector<bool> clear);
    /// Gives up the stretch, and releases what it takes of memory.
    void Cancel();
    /// Does one piece of the work. False once there is none left, and before Begin.
    bool Work();
    /// What has been learned, once Work has returned false: nothing where fewer than kFewestBeats clean beats
    /// are found, or fewer than a third of all, or where the average has no QRS of 40 to 240 ms.
    const std::optional<LearnedBeat>& Result() const { return m_result; }
    /// All of it at once, with the beats that a BeatFinder finds.
    std::optional<LearnedBeat> Learn(std::vector<short> frames);

private:
    using Positions = std::vector<int>;             // sample indices, ascending
    using Beat = std::vector<std::vector<double>>;  // [lead][sample]
    /// What is cut out around a beat: `length` samples from `before` samples ahead of it, every `step`th.
    struct Window {
        int before = 0, length = 0, step = 1;
    };
    // The order of the work.
    enum class Stage {
        Scale,    // lead by lead: its effective slope
        Place,    // beat by beat: its steepest place
        Shape,    // beat by beat: its normalized QRS
        Compare,  // beat by beat: those it is like
        Align,    // beat by beat, twice: the place at which it is most like the typical beat, then like the
                  // average
        Trust,    // lead by lead: whether its beats are alike
        Quiet,    // lead by lead: how far each beat deviates from the average
        Show,     // lead by lead: the quiet beats that it shows
        Average,  // lead by lead: their average
        Liken,    // beat by beat: how like the average it is
        Conclude,
        Match,  // lead by lead, second by second: how many beats it matches alone
        Done,
    };

    void ScaleLead(std::size_t lead);
    void PlaceBeat(int found);
    void CompareBeat(std::size_t beat);
    void AlignBeat(int beat);
    void EndAlignment();
    void JudgeLead(std::size_t lead, std::vector<bool>& usable);
    void MeasureLead(std::size_t lead);
    void KeepQuiet();
    void PrepareAverage();
    void LikenBeat(int beat);
    void Conclude();
    void MatchSecond();
    void KeepMatchingLeads();
    /// Ends a stage of `count` pieces after the last of them.
    void Advance(std::size_t count, Stage next);
    /// The stretch gives no beat, or this one.
    void End(std::optional<LearnedBeat> learned);

    std::optional<std::size_t> FindTypical() const;
    bool HalvesAgree() const;
    bool Delineate();
    int FrameCount() const { return static_cast<int>(m_frames.size() / m_chn); }
    int Slope(int frame, std::size_t lead) const;
    Window QrsWindow() const;
    Window QuietWindow() const;
    std::vector<double> CutLead(std::size_t lead, int beat, const Window& window) const;
    Beat Shape(int beat) const;
    std::vector<double> AverageLead(std::size_t lead, const Positions& beats, const Window& window) const;
    int Samples(int ms) const { return static_cast<int>(static_cast<long long>(ms) * m_fs / 1000); }

    int m_fs;
    std::size_t m_chn;
    Delineator m_delineator;
    Stage m_stage = Stage::Done;
    std::size_t m_piece = 0;  // next piece of the stage
    std::vector<short> m_frames;
    Positions m_found;            // beats as they were found
    std::vector<bool> m_trusted;  // leads that count in decisions
    std::vector<double> m_scale;  // per lead: its effective slope
    std::optional<LearnedBeat> m_result;

    Positions m_all;                                // steepest places of all beats
    std::vector<Beat> m_shapes;                     // of m_all
    std::vector<std::vector<std::size_t>> m_peers;  // of each of m_all: those it is like, itself among them
    Beat m_model;                                   // what beats are aligned with
    int m_pass = 0;                                 // of the alignment
    Positions m_clean;                              // beats found clean in this pass
    Positions m_beats;                              // clean beats; from Show on the quiet ones of them
    std::vector<std::vector<double>> m_deviations;  // [beat][usable lead], standard deviation
    std::vector<Positions> m_beatsOfLead;           // per lead: those of m_beats that it shows
    Window m_window;                                // of the row
    Beat m_average;                                 // over m_window
    std::vector<double> m_likeness;                 // of each of m_beats
    LearnedBeat m_learned;
    std::optional<TemplateFollower> m_matcher;  // of one lead
    int m_matchedFrames = 0;                    // in this lead
    std::vector<int> m_matches;                 // beats that each lead has matched alone
};

}  // namespace qz
