#include "host/simulate/SimulatedTest.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <sstream>
#include <stdexcept>

#include "host/record/Calibration.h"
#include "host/support/IndexOf.h"

namespace {

constexpr double kRestRate = 70, kPeakRate = 170, kRecoveredRate = 85;   // beats per minute
constexpr double kStageRise = 25;                                        // beats per minute
constexpr double kRestEnd = 0.12, kExerciseEnd = 0.66, kPeakEnd = 0.72;  // parts of the test
constexpr int kStepStages = 4;             // (kPeakRate - kRestRate) / kStageRise
constexpr double kStageSettled = 0.7;      // part of a stage in which the rate rises
constexpr double kFullDepressionUv = 230;  // of V5 in the table of its waves
constexpr double kMotionSeconds = 20;      // mean time between two jumps of a lead's baseline
constexpr double kMotionDecaySeconds = 1;  // time constant with which the baseline comes back
constexpr double kShortestStage = 1e-3;    // part of the test; less belongs to the stage before
constexpr double kIschaemiaRate = 90;      // beats per minute from which ST falls
constexpr double kIschaemiaGone = 0.85;    // part of the recovery after which ST is back
constexpr double kMaxSlopePerMs = 0.006;   // 1.2 uV/ms where the peak brings 200 uV
constexpr double kDesignPostMs = 60;       // the ST line turns about J + 6 ms + this
constexpr double kQTat60Ms = 420;
constexpr double kFirstRSeconds = 0.5;
constexpr double kLeadInMs = 250;  // no wave begins earlier before its R
constexpr double kTwoPi = 6.283185307179586;

constexpr std::array<const char*, SimulatedTest::kLeads> kLeadNames = {"I",  "II", "III", "aVR", "aVL", "aVF",
                                                                       "V1", "V2", "V3",  "V4",  "V5",  "V6"};

ProtocolPlan PlanOf(SimulatedProtocol protocol, double testSeconds) {
    if (protocol != SimulatedProtocol::Steps) return FindProtocol(NameOf(protocol));
    return {"steps", (kExerciseEnd - kRestEnd) / kStepStages * testSeconds, kStepStages, 50};
}

/// 0 up to x = 0, 1 from x = 1, and a cubic without a corner between.
double SmoothStep(double x) {
    x = std::clamp(x, 0.0, 1.0);
    return x * x * (3 - 2 * x);
}

/// (1 - x^2)^2 within -1..1, else 0: a bump of height 1 that starts and ends without a corner.
double Bump(double x) {
    const double y = std::max(0.0, 1 - x * x);
    return y * y;
}

/// sin(2 pi x) within 1e-9: Taylor's polynomial on the quarter turn to which x is folded.
double SineOfTurns(double turns) {
    double x = turns - std::floor(turns + 0.5);
    if (x > 0.25) x = 0.5 - x;
    if (x < -0.25) x = -0.5 - x;
    const double a = kTwoPi * x, s = a * a;
    return a * (1 - s / 6 * (1 - s / 20 * (1 - s / 42 * (1 - s / 72 * (1 - s / 110 * (1 - s / 156))))));
}

/// A sinusoid of the given height at one moment, with its quarter-turn companion: any phase is a mix of the
/// two.
struct Swing {
    Swing(double height, double turns)
        : sine(height * SineOfTurns(turns)), cosine(height * SineOfTurns(turns + 0.25)) {}
    double sine, cosine;
};

/// Exercise reached, 0 at rest and 1 at the peak.
double Effort(double rate) { return (rate - kRestRate) / (kPeakRate - kRestRate); }

/// What disturbs more when the patient moves: a quarter at rest, whole at the peak.
double NoiseGrowth(double effort) { return 0.25 + 0.75 * effort; }

/// Phases in which the disturbances reach the modelled leads, as cosine and sine: exact by whole-number
/// triangles.
constexpr std::array<std::array<double, 2>, 8> kNoisePhase = {{{3. / 5, 4. / 5},
                                                               {-4. / 5, 3. / 5},
                                                               {5. / 13, 12. / 13},
                                                               {12. / 13, 5. / 13},
                                                               {8. / 17, -15. / 17},
                                                               {15. / 17, 8. / 17},
                                                               {7. / 25, 24. / 25},
                                                               {24. / 25, -7. / 25}}};

}  // namespace

// Columns: P, septal, main, terminal, T, ST at rest, ST added at the peak. Rows: I, II, V1 to V6.
const std::array<SimulatedTest::LeadWaves, SimulatedTest::kModelled> SimulatedTest::kSinusWaves = {
    {{60, -60, 700, -80, 200, 10, -60},
     {120, -60, 1000, -120, 280, 20, -180},
     {50, 200, -850, -150, -40, 10, 60},
     {60, 300, -1100, -450, 350, 50, 0},
     {60, 130, 520, -800, 400, 40, 0},
     {60, 80, 1250, -450, 380, 30, -180},
     {60, -80, 1200, -200, 320, 20, -230},
     {55, -90, 900, -90, 230, 10, -190}}};

// A beat from the right ventricle's outflow: broad, ST and T opposite to the QRS.
const std::array<SimulatedTest::LeadWaves, SimulatedTest::kModelled> SimulatedTest::kEctopicWaves = {
    {{0, 0, 300, 150, -120, -30, 0},
     {0, 0, 1500, 600, -450, -120, 0},
     {0, 0, -1100, -500, 400, 110, 0},
     {0, 0, -1500, -700, 550, 150, 0},
     {0, 0, -900, -500, 400, 90, 0},
     {0, 0, 900, 400, -300, -80, 0},
     {0, 0, 1500, 500, -450, -110, 0},
     {0, 0, 1400, 450, -400, -90, 0}}};

std::uint64_t SimulatedTest::Random::Next() {
    std::uint64_t z = (state += 0x9e3779b97f4a7c15U);
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
}

double SimulatedTest::Random::Uniform() { return static_cast<double>(Next() >> 11) / 9007199254740992.0; }

double SimulatedTest::Random::Normal() {
    const std::uint64_t bits = Next();
    const std::uint64_t sum =
        (bits & 0xffff) + ((bits >> 16) & 0xffff) + ((bits >> 32) & 0xffff) + (bits >> 48);
    // Four uniforms on 0..1 have the mean 2 and the variance 1/3.
    return (static_cast<double>(sum) / 65535 - 2) * std::sqrt(3.0);
}

std::string NameOf(SimulatedProtocol protocol) {
    switch (protocol) {
        case SimulatedProtocol::Bruce: return "bruce";
        case SimulatedProtocol::Bicycle: return "bicycle";
        case SimulatedProtocol::Ramp: return "ramp";
        case SimulatedProtocol::Steps: break;
    }
    return "steps";
}

SimulatedTest::SimulatedTest(const SimulatedTestOptions& options) : m_options(options) {
    const auto check = [](const char* what, double value, double low, double high, const char* unit) {
        if (value >= low && value <= high) return;  // not true of a NaN
        std::ostringstream why;
        why << what << ": " << low << " to " << high << " " << unit << " is expected, not " << value;
        throw std::invalid_argument(why.str());
    };
    constexpr double kMostSeconds = 1e7, kMostUv = 1e6;
    check("samples per second", options.fs, kLowestFs, kHighestFs, "Hz");
    check("microvolts per unit", options.uVpb, 1e-3, 1e6, "uV");
    check("length", options.seconds, 1e-3, kMostSeconds, "s");
    check("time between ectopic beats", options.ectopySeconds, 0, kMostSeconds, "s");
    check("mains frequency", options.mainsHz, 0, 1000, "Hz");
    check("mains noise", options.mainsUv, 0, kMostUv, "uV");
    check("muscle noise", options.muscleUv, 0, kMostUv, "uV");
    check("wander", options.wanderUv, 0, kMostUv, "uV");
    check("jumps of the baseline", options.motionUv, 0, kMostUv, "uV");
    check("ST depression", options.stDepressionUv, 0, 1000, "uV");
    for (const SimulatedLeadOff& off : options.leadOff) {
        check("start of a lead that is off", off.startSeconds, 0, kMostSeconds, "s");
        check("time that a lead is off", off.seconds, 0, kMostSeconds, "s");
    }
    m_info.name = "simulated";
    m_info.fs = options.fs;
    m_info.uVpb = options.uVpb;
    m_info.frames = std::llround(options.seconds * options.fs);
    m_info.remarks = {"simulated exercise test, protocol " + NameOf(options.protocol) + ", seed " +
                      std::to_string(options.seed)};
    ChooseLeads();
    PlanStages();
    m_rhythm.state = options.seed;
    m_muscle.state = ~options.seed;
    m_motion.state = options.seed ^ 0x6a09e667f3bcc908U;  // any constant that tells it from the others
    m_ectopyDue = options.ectopySeconds * (0.5 + m_rhythm.Uniform());
    m_muscleDecay = 1 / (1 + kTwoPi * 20 / options.fs);
    m_planned.reserve(8);
}

void SimulatedTest::ChooseLeads() {
    m_info.leads = m_options.leads;
    if (m_info.leads.empty()) m_info.leads.assign(kLeadNames.begin(), kLeadNames.end());
    for (const std::string& lead : m_info.leads) {
        const auto found = std::find(kLeadNames.begin(), kLeadNames.end(), lead);
        if (found == kLeadNames.end())
            throw std::invalid_argument("expected leads of I to aVF and V1 to V6, found " + lead);
        m_leadOf.push_back(IndexOf(kLeadNames, found));
        if (std::count(m_info.leads.begin(), m_info.leads.end(), lead) > 1)
            throw std::invalid_argument("expected every lead once, found twice " + lead);
    }
    for (const SimulatedLeadOff& off : m_options.leadOff) {
        const auto found = std::find(m_info.leads.begin(), m_info.leads.end(), off.lead);
        if (found == m_info.leads.end())
            throw std::invalid_argument("the lead that is off is not recorded: " + off.lead);
        const short sample = off.rails ? std::numeric_limits<short>::max() : short{0};
        m_off.push_back({IndexOf(m_info.leads, found), off.startSeconds * m_options.fs,
                         (off.startSeconds + off.seconds) * m_options.fs, sample});
    }
}

void SimulatedTest::PlanStages() {
    const ProtocolPlan plan = PlanOf(m_options.protocol, m_options.seconds);
    m_exerciseStart = kRestEnd * m_options.seconds;
    m_recoveryStart = kPeakEnd * m_options.seconds;
    m_stageSeconds = plan.stageSeconds;
    m_stages = 1;
    // The last stage takes what is left of the exercise, be it short or long.
    while (m_stages < plan.stages &&
           m_exerciseStart + m_stages * m_stageSeconds < m_recoveryStart - kShortestStage * m_options.seconds)
        ++m_stages;
}

std::vector<Stage> SimulatedTest::Stages() const {
    const ProtocolPlan plan = PlanOf(m_options.protocol, m_options.seconds);
    std::vector<Stage> stages = {{0, 0, "rest"}};
    for (int stage = 0; stage < m_stages; ++stage) {
        const double start = m_exerciseStart + stage * m_stageSeconds;
        stages.push_back(StageOf(plan, stage, start));
    }
    stages.push_back({m_recoveryStart, 0, "recovery"});
    return stages;
}

double SimulatedTest::RecoveryPart(double seconds) const {
    return std::clamp((seconds / m_options.seconds - kPeakEnd) / (1 - kPeakEnd), 0.0, 1.0);
}

double SimulatedTest::TrueHeartRate(double seconds) const {
    const double part = seconds / m_options.seconds;
    if (part >= kPeakEnd) {
        const double left = 1 - RecoveryPart(seconds);
        return kRecoveredRate + (kPeakRate - kRecoveredRate) * left * left * left;
    }
    if (m_options.protocol != SimulatedProtocol::Steps) return ExerciseRate(seconds);
    const double stages = std::clamp((part - kRestEnd) / (kExerciseEnd - kRestEnd), 0.0, 1.0) * kStepStages;
    const double stagesDone = std::floor(stages);
    return kRestRate + kStageRise * (stagesDone + SmoothStep((stages - stagesDone) / kStageSettled));
}

double SimulatedTest::ExerciseRate(double seconds) const {
    const double into = seconds - m_exerciseStart, whole = m_recoveryStart - m_exerciseStart;
    if (into <= 0) return kRestRate;
    double reached = into;  // seconds of exercise whose rise is done
    if (m_options.protocol != SimulatedProtocol::Ramp) {
        const double stage = std::min(std::floor(into / m_stageSeconds), m_stages - 1.0);
        const double start = stage * m_stageSeconds;
        const double length = stage < m_stages - 1 ? m_stageSeconds : whole - start;
        reached = start + length * SmoothStep((into - start) / length / kStageSettled);
    }
    return kRestRate + (kPeakRate - kRestRate) * std::min(reached / whole, 1.0);
}

SimulatedTest::BeatForm SimulatedTest::SinusForm(double seconds) const {
    const double rate = TrueHeartRate(seconds);
    const double effort = Effort(rate);
    const double recovery = RecoveryPart(seconds);
    BeatForm form;
    form.leads = &kSinusWaves;
    form.onset = kQOnsetMs;
    form.j = kJMs;
    // The P wave ends 70 ms before Q at rest and 30 ms at the peak. At R itself only the main wave is not
    // zero.
    form.p.halfWidth = 45 - 7 * effort;
    form.p.centre = kQOnsetMs - (70 - 40 * effort) - form.p.halfWidth;
    form.septal = {-26, 14};
    form.main = {0, 26};
    form.terminal = {26, 22};
    form.tEnd = kQOnsetMs + kQTat60Ms * std::sqrt(60 / rate);
    form.tStart = form.j + 0.38 * (form.tEnd - form.j);
    form.tPeak = form.j + 0.72 * (form.tEnd - form.j);
    form.pGain = 1 + 0.5 * effort;
    form.mainGain = 1 - 0.1 * effort;
    form.terminalGain = 1 + 0.4 * effort;
    form.tGain = 1 + 0.1 * effort;
    form.depth = recovery > 0 ? 1 - SmoothStep(recovery / kIschaemiaGone)
                              : SmoothStep((rate - kIschaemiaRate) / (kPeakRate - kIschaemiaRate));
    const double halfway = 4 * form.depth * (1 - form.depth);  // 1 at half the depth, 0 at either end
    form.slopePerMs = (recovery > 0 ? -1 : 1) * kMaxSlopePerMs * halfway;
    const double asked = m_options.stDepressionUv / kFullDepressionUv;
    form.depth *= asked;
    form.slopePerMs *= asked;
    return form;
}

SimulatedTest::BeatForm SimulatedTest::EctopicForm(double seconds) const {
    BeatForm form;
    form.leads = &kEctopicWaves;
    form.onset = -65;
    form.j = 100;
    form.main = {0, 65};
    form.terminal = {55, 45};
    form.tEnd = form.onset + 1.15 * kQTat60Ms * std::sqrt(60 / TrueHeartRate(seconds));
    form.tStart = form.j + 0.2 * (form.tEnd - form.j);
    form.tPeak = form.j + 0.6 * (form.tEnd - form.j);
    form.mainGain = form.terminalGain = form.tGain = 1;
    return form;
}

void SimulatedTest::AddBeat(const BeatForm& form, double ms, Modelled& uV) {
    if (ms >= form.tEnd || ms <= -kLeadInMs) return;
    const auto wave = [ms](const Span& span) { return Bump((ms - span.centre) / span.halfWidth); };
    const double p = form.pGain * wave(form.p);
    const double septal = wave(form.septal);
    const double main = form.mainGain * wave(form.main);
    const double terminal = form.terminalGain * wave(form.terminal);
    const double t = form.tGain * SmoothStep((ms - form.tStart) / (form.tPeak - form.tStart)) *
                     (1 - SmoothStep((ms - form.tPeak) / (form.tEnd - form.tPeak)));
    // The ST line comes in under the terminal wave, is whole from J to the T wave and leaves with it.
    const double terminalStart = form.terminal.centre - form.terminal.halfWidth;
    const double stPresent = SmoothStep((ms - terminalStart) / (form.j - terminalStart)) *
                             (1 - SmoothStep((ms - form.tStart) / (form.tEnd - form.tStart)));
    const double ischaemia = form.depth - form.slopePerMs * (ms - form.j - kSTOffsetMs - kDesignPostMs);
    for (std::size_t lead = 0; lead < kModelled; ++lead) {
        const LeadWaves& of = (*form.leads)[lead];
        uV[lead] += of.p * p + of.septal * septal + of.main * main + of.terminal * terminal + of.t * t +
                    (of.restST + of.ischaemiaST * ischaemia) * stPresent;
    }
}

std::array<double, SimulatedTest::kLeads> SimulatedTest::AllLeads(const Modelled& uV) {
    const double one = uV[0], two = uV[1];
    return {one,   two,   two - one, -(one + two) / 2, one - two / 2, two - one / 2, uV[2], uV[3], uV[4],
            uV[5], uV[6], uV[7]};
}

void SimulatedTest::AddNoise(double seconds, Modelled& uV) {
    const double effort = Effort(TrueHeartRate(seconds));
    const double growth = NoiseGrowth(effort);
    const double wander = m_options.wanderUv * growth;
    const double mains = m_options.mainsUv * (1 + 0.25 * SineOfTurns(seconds / 13));
    const double mainsTurns = m_options.mainsHz * seconds;
    // Breathing carries four fifths of the wander's power, a drift of the electrodes with a period of 23 s
    // the rest. The third harmonic of the mains is left out where it would fold back from above half the
    // sampling rate.
    const std::array<Swing, 4> swings = {
        Swing(wander * std::sqrt(2 * 0.8), m_breath), Swing(wander * std::sqrt(2 * 0.2), seconds / 23),
        Swing(mains, mainsTurns),
        Swing(6 * m_options.mainsHz < m_options.fs ? 0.2 * mains : 0, 3 * mainsTurns)};
    // This gain gives unit variance behind y[n] = a (y[n-1] + x[n] - x[n-1]) with unit variance before it.
    const double a = m_muscleDecay;
    const double muscle = m_options.muscleUv * growth * std::sqrt((1 + a) / 2) / a;
    for (std::size_t lead = 0; lead < kModelled; ++lead) {
        const double in = m_muscle.Normal();
        m_muscleOut[lead] = a * (m_muscleOut[lead] + in - m_muscleIn[lead]);
        m_muscleIn[lead] = in;
        uV[lead] += muscle * m_muscleOut[lead];
        for (const Swing& swing : swings)
            uV[lead] += kNoisePhase[lead][0] * swing.sine + kNoisePhase[lead][1] * swing.cosine;
    }
    if (m_options.motionUv > 0) AddMotion(growth, uV);
    constexpr double kRestBreathHz = 0.25,
                     kBreathRiseHz = 0.4;  // 15 breaths a minute at rest, 39 at the peak
    m_breath += (kRestBreathHz + kBreathRiseHz * effort) / m_options.fs;
    m_breath -= std::floor(m_breath);
}

void SimulatedTest::AddMotion(double growth, Modelled& uV) {
    const double chance = 1 / (kMotionSeconds * m_options.fs);
    const double kept = 1 - 1 / (kMotionDecaySeconds * m_options.fs);
    for (std::size_t lead = 0; lead < kModelled; ++lead) {
        m_motionLevel[lead] *= kept;
        if (m_motion.Uniform() < chance)
            m_motionLevel[lead] += m_options.motionUv * growth * m_motion.Normal();
        uV[lead] += m_motionLevel[lead];
    }
}

void SimulatedTest::PlanBeat() {
    PlannedBeat beat;
    const long long previousR = m_lastR;
    if (previousR < 0) {
        m_lastR = std::llround(kFirstRSeconds * m_options.fs);
    } else if (m_pauseEnd >= 0) {
        m_lastR = m_pauseEnd;
        m_pauseEnd = -1;
    } else {
        const double seconds = static_cast<double>(previousR) / m_options.fs;
        const double rate = TrueHeartRate(seconds);
        const double effort = Effort(rate);
        // Breathing moves RR by up to 3 % at rest, chance by 1 % (standard deviation); effort stills both.
        const double variability =
            0.03 * (1 - effort) * SineOfTurns(m_breath) + (0.01 - 0.007 * effort) * m_rhythm.Normal();
        const double rr = 60 / rate * (1 + variability) * m_options.fs;
        if (m_options.ectopySeconds > 0 && seconds >= m_ectopyDue) {
            // Less premature at high rates, where it would otherwise fall on the ST segment before it.
            const double coupling = 0.6 + 0.12 * effort + 0.04 * m_rhythm.Uniform();
            beat.truth.type = SimulatedBeatType::Ectopic;
            m_lastR = previousR + std::llround(coupling * rr);
            m_pauseEnd = previousR + std::llround(2 * rr);
            m_ectopyDue = seconds + m_options.ectopySeconds * (0.5 + m_rhythm.Uniform());
        } else {
            m_lastR = previousR + std::llround(rr);
        }
    }
    const double seconds = static_cast<double>(m_lastR) / m_options.fs;
    beat.form = beat.truth.type == SimulatedBeatType::Sinus ? SinusForm(seconds) : EctopicForm(seconds);
    beat.truth.r = m_lastR;
    beat.truth.rrMs = previousR < 0 ? 0 : static_cast<double>(m_lastR - previousR) * 1000 / m_options.fs;
    beat.truth.onsetMs = beat.form.onset;
    beat.truth.jMs = beat.form.j;
    m_planned.push_back(beat);
}

bool SimulatedTest::Read(short* frame) {
    if (m_frame >= m_info.frames) return false;
    const auto msFromR = [this](const PlannedBeat& beat) {
        return static_cast<double>(m_frame - beat.truth.r) * 1000 / m_options.fs;
    };
    while (m_planned.empty() || msFromR(m_planned.back()) >= -kLeadInMs) PlanBeat();
    if (msFromR(m_planned.front()) >= m_planned.front().form.tEnd) m_planned.erase(m_planned.begin());
    Modelled uV{};
    for (const PlannedBeat& beat : m_planned) {
        AddBeat(beat.form, msFromR(beat), uV);
        if (beat.truth.r == m_frame) m_beats.push_back(beat.truth);
    }
    AddNoise(static_cast<double>(m_frame) / m_options.fs, uV);
    const std::array<double, kLeads> leadsUv = AllLeads(uV);
    for (std::size_t lead = 0; lead < m_leadOf.size(); ++lead) {
        const double units = std::round(leadsUv[m_leadOf[lead]] / m_options.uVpb);
        const double held =
            std::clamp<double>(units, std::numeric_limits<short>::min(), std::numeric_limits<short>::max());
        if (held != units) ++m_clipped;
        frame[lead] = static_cast<short>(held);
    }
    for (const OffStretch& off : m_off) {
        const auto now = static_cast<double>(m_frame);
        if (now >= off.begin && now < off.end) frame[off.lead] = off.sample;
    }
    ++m_frame;
    return true;
}

std::vector<std::string> SimulatedTest::Warnings() const {
    if (m_clipped == 0) return {};
    return {std::to_string(m_clipped) + " samples clipped to 16 bits"};
}

double SimulatedTest::TrueSTuV(std::size_t lead, double seconds, double postJms) const {
    Modelled uV{};
    AddBeat(SinusForm(seconds), kJMs + kSTOffsetMs + postJms, uV);
    return AllLeads(uV)[m_leadOf[lead]];
}

double SimulatedTest::TrueSTslope(std::size_t lead, double seconds, double postJms) const {
    return (TrueSTuV(lead, seconds, postJms) - TrueSTuV(lead, seconds, 0)) / postJms;
}
