// SimulatedTest: a twelve-lead exercise test computed sample by sample, with its truth known.
//
//   sample = round((beats + wander + muscle + mains) / uVpb)
//
// Beats: a P wave, three QRS waves (septal, main, terminal), an ST segment that is a straight line from J on,
// and a T wave, each with an amplitude per lead. Every wave is a polynomial that is exactly zero outside its
// own span, so the QRS begins and ends at definite times, the PR segment is flat at zero, and the ST level
// has one value. Eight leads (I, II, V1 to V6) are modelled, noise included; III, aVR, aVL and aVF are
// computed from I and II before rounding, as in a recorder. R lies on a sample: the fiducial is the peak of
// the main QRS wave, the R peak in I, II and V4 to V6 and the nadir of S in V1 and V2. The steepest upstroke
// of R comes about 15 ms earlier.
//
// Course, in parts of the whole: rest at 70/min to 12 %, exercise up to 170/min to 72 %, recovery to 85/min.
// The protocol says how the exercise rises. QT follows the rate (420 ms at 60/min, with the root of RR). ST
// falls with the rate in II, III, aVF and V4 to V6 and rises a little in aVR and V1: upsloping on the way in,
// horizontal at the peak, downsloping on the way out.
//
// The samples are the same to the bit on every machine with IEEE doubles: random numbers come from
// SplitMix64, sines are polynomials, and of the mathematical library only floor, round and sqrt are used,
// which have one right answer. Compile without contraction of multiply and add.
//
// Of the memory only the list of true beats grows, 40 bytes a beat.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"
#include "host/results/Exercise.h"

/// How the work rises from the end of the rest to the start of the recovery. The heart rate rises in each
/// stage by the stage's share of the exercise and settles in the last 30 % of it; on the ramp it rises
/// evenly. Stages have fixed lengths: what the test's length leaves of the last one is kept, and beyond the
/// protocol's end its last stage goes on.
enum class SimulatedProtocol {
    Steps,    // four stages of 50 W and of equal lengths, 13.5 % of the test each, the last held for 6 % more
    Bruce,    // treadmill: up to seven stages of 3 minutes, power unknown
    Bicycle,  // up to sixteen stages of 25 W and 2 minutes
    Ramp,     // 10 W more each minute, up to 400 W
};
/// The name in lower case, as the truth of a test and the command line have it.
std::string NameOf(SimulatedProtocol protocol);

/// A lead that has lost its electrode for a while.
struct SimulatedLeadOff {
    std::string lead;         // one of those in the recording
    double startSeconds = 0;  // 0..1e7
    double seconds = 0;       // 0..1e7
    bool rails = false;       // at the highest sample, as an open input; else flat at zero
};

struct SimulatedTestOptions {
    int fs = 500;            // samples per second and lead, 100..2000
    double uVpb = 1.0;       // microvolts per unit, 0.001..1e6
    double seconds = 900;    // length of the whole test, 0.001..1e7
    std::uint64_t seed = 1;  // another seed gives other beats and noise in the same course
    double mainsHz = 50;     // mains frequency, 0 or more
    double mainsUv = 20;     // peak, drifting by a quarter; the third harmonic adds a fifth of it
    double muscleUv = 20;    // rms at peak exercise, a quarter of it at rest; from about 20 Hz up
    double wanderUv = 150;   // rms at peak exercise, a quarter of it at rest; mostly at the rate of breathing
    double ectopySeconds = 45;  // mean time from one ectopic beat to the next, 0 for none
    SimulatedProtocol protocol = SimulatedProtocol::Steps;
    std::vector<std::string> leads;  // names out of the twelve, in the order of the frames; empty for all
    /// What the peak takes off ST in V5, other leads in proportion; 0..1000, 0 for none.
    double stDepressionUv = 230;
    /// Jumps of the baseline, rms height at peak exercise, a quarter of it at rest: in each modelled lead one
    /// in 20 s on average, gone within seconds.
    double motionUv = 0;
    std::vector<SimulatedLeadOff> leadOff;
};

enum class SimulatedBeatType {
    Sinus,
    Ectopic,  // ventricular: premature, wide, without P wave, followed by a compensatory pause
};

/// One true beat. Times are relative to R, negative before it.
struct SimulatedBeat {
    long long r = 0;     // frame of the fiducial, counted from 0
    double rrMs = 0;     // from the R before, 0 for the first beat
    double onsetMs = 0;  // Q onset
    double jMs = 0;      // J point, the end of the QRS
    SimulatedBeatType type = SimulatedBeatType::Sinus;
};

class SimulatedTest : public FrameSource {
public:
    static constexpr int kLeads = 12;         // I, II, III, aVR, aVL, aVF, V1..V6, unless options choose
    static constexpr double kQOnsetMs = -40;  // of every sinus beat, from R
    static constexpr double kJMs = 48;        // of every sinus beat, from R

    /// Throws std::invalid_argument for an option outside its range and for a lead that is unknown or named
    /// twice. Nothing after this allocates except the list of beats.
    explicit SimulatedTest(const SimulatedTestOptions& options = {});

    const SourceInfo& Info() const override { return m_info; }
    bool Read(short* frame) override;
    std::vector<std::string> Warnings() const override;
    const SimulatedTestOptions& Options() const { return m_options; }

    /// Rest, the stages of the protocol and the recovery.
    std::vector<Stage> Stages() const;
    /// Beats per minute that the course asks for, free of the variability from beat to beat.
    double TrueHeartRate(double seconds) const;
    /// Microvolts of a sinus beat with its R at `seconds`, at J + 6 ms + `postJms`, above the PR segment. At
    /// high rates a late point lies on the T wave, as in the signal. Lead: from 0 in frame order; a lead that
    /// is off has the truth of the heart.
    double TrueSTuV(std::size_t lead, double seconds, double postJms) const;
    /// Microvolts per millisecond from J + 6 ms to J + 6 ms + `postJms`, `postJms` above 0.
    double TrueSTslope(std::size_t lead, double seconds, double postJms) const;
    /// The beats whose R has been read, oldest first. Read invalidates iterators.
    const std::vector<SimulatedBeat>& Beats() const { return m_beats; }

private:
    static constexpr std::size_t kModelled = 8;  // I, II, V1..V6
    using Modelled = std::array<double, kModelled>;

    /// Amplitudes of one lead in microvolts.
    struct LeadWaves {
        double p, septal, main, terminal, t;
        double restST;       // ST level at rest
        double ischaemiaST;  // what the peak adds to it
    };
    /// Zero outside centre +- halfWidth, 1 at the centre; milliseconds from R.
    struct Span {
        double centre = 0, halfWidth = 1;
    };
    /// All that shapes one beat: times in milliseconds from R, gains on the amplitudes of its leads.
    struct BeatForm {
        const std::array<LeadWaves, kModelled>* leads = nullptr;
        Span p, septal, main, terminal;
        double onset = 0, j = 0;
        double tStart = 0, tPeak = 0, tEnd = 0;
        double pGain = 0, mainGain = 0, terminalGain = 0, tGain = 0;
        double depth = 0;  // part of ischaemiaST reached, 0..1 where the options ask for the usual depth
        double slopePerMs =
            0;  // of the ST line, in parts of -ischaemiaST: positive is upsloping where ST falls
    };
    struct PlannedBeat {
        SimulatedBeat truth;
        BeatForm form;
    };
    /// SplitMix64 (Steele, Lea, Flood, "Fast splittable pseudorandom number generators", OOPSLA 2014).
    struct Random {
        std::uint64_t state = 0;
        std::uint64_t Next();
        double Uniform();  // 0 <= u < 1
        double Normal();   // mean 0, variance 1: the sum of four uniforms, so never beyond 3.5
    };

    /// A lead that is off, in frames from `begin` to before `end`.
    struct OffStretch {
        std::size_t lead = 0;  // in the frame
        double begin = 0, end = 0;
        short sample = 0;  // that it shows
    };

    static const std::array<LeadWaves, kModelled> kSinusWaves, kEctopicWaves;

    void ChooseLeads();
    void PlanStages();
    double ExerciseRate(double seconds) const;
    double RecoveryPart(double seconds) const;
    BeatForm SinusForm(double seconds) const;
    BeatForm EctopicForm(double seconds) const;
    static void AddBeat(const BeatForm& form, double ms, Modelled& uV);
    static std::array<double, kLeads> AllLeads(const Modelled& uV);
    void AddNoise(double seconds, Modelled& uV);
    void AddMotion(double growth, Modelled& uV);
    void PlanBeat();

    SimulatedTestOptions m_options;
    SourceInfo m_info;
    std::vector<std::size_t> m_leadOf;  // which of the twelve each lead of the frame is
    std::vector<OffStretch> m_off;
    double m_exerciseStart = 0, m_recoveryStart = 0;  // seconds
    double m_stageSeconds = 0;                        // of every stage but the last
    int m_stages = 0;                                 // of the exercise
    long long m_frame = 0;                            // frames read
    long long m_clipped = 0;                          // samples that 16 bits could not hold
    std::vector<PlannedBeat> m_planned;    // beats that reach into the present or future, oldest first
    std::vector<SimulatedBeat> m_beats;    // beats whose R has been read
    long long m_lastR = -1;                // latest planned R, -1 before the first
    long long m_pauseEnd = -1;             // R after an ectopic beat, -1 when none is pending
    double m_ectopyDue = 0;                // seconds from which the next beat may be ectopic
    double m_breath = 0;                   // phase of breathing in turns, 0..1
    Random m_rhythm, m_muscle, m_motion;   // apart, so that noise does not move the beats
    double m_muscleDecay = 0;              // pole of the 20 Hz high-pass that shapes the muscle noise
    Modelled m_muscleIn{}, m_muscleOut{};  // its state
    Modelled m_motionLevel{};              // baseline that the jumps have left
};
