#include "session/StressSession.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "core/FloatingPoint.h"
#include "session/internal/BeatFinder.h"
#include "session/internal/BeatFollower.h"
#include "session/internal/BeatLearner.h"
#include "session/internal/FrameRing.h"
#include "session/internal/LeadWatch.h"
#include "session/internal/RateFollower.h"
#include "session/internal/STMeter.h"
#include "session/internal/SignalConditioner.h"
#include "session/internal/Units.h"

namespace qz {

namespace {

// Learning is first tried on the first stretch, then on one a step longer each time, up to the longest; then
// anew with the signal after that.
constexpr int kFirstStretchSeconds = 10;
constexpr int kMoreSeconds = 5;
constexpr int kLongestStretchSeconds = 60;

constexpr int kNoMatchSeconds = 30;           // without a matched beat, one is learned from that stretch
constexpr int kFirstRelearnWaitSeconds = 10;  // from a failed attempt to the next, twice as long each time
constexpr int kLongestRelearnWaitSeconds = 320;

// Conditioned frames are kept for the longest stretch and for the time in which a beat is learned from it.
constexpr int kKeptSeconds = kLongestStretchSeconds + 30;
// Pieces of learning done, and kept frames matched, with each new frame. The pieces double with each second
// that the learning takes, so that it ends long before its stretch is forgotten.
constexpr int kPiecesPerFrame = 4;
constexpr int kMostDoublings = 12;
constexpr int kMatchesPerFrame = 16;
constexpr double kMatchedAfterSeconds = 0.3;

// A disturbance this long after an R, or this long before it, changes the beat: the ST segment is part of it,
// and the comb reaches far. Without the comb a beat is told 0.8 s after its R, and a disturbance that
// comes later is not in it.
constexpr double kReachAheadSeconds = 1.2;
constexpr double kReachBackSeconds = 1.5;

constexpr std::size_t kMostLeads = 64;
constexpr std::size_t kKeptRates = static_cast<std::size_t>(kKeptSeconds) * 5;  // at 300 beats/min
constexpr double kSameBeatSeconds = 0.15;  // R of a matched beat and the middle of its QRS are closer
constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string BeatRefusal(const SessionOptions& options) {
    const LearnedBeat& beat = *options.beat;
    const std::string handedIn = "the averaged beat that was handed in ";
    const std::size_t chn = options.leads.size();
    if (beat.rows.size() != chn || beat.usable.size() != chn)
        return handedIn + "has " + std::to_string(beat.rows.size()) + " leads, not " + std::to_string(chn);
    for (const std::vector<short>& row : beat.rows) {
        if (row.size() != static_cast<std::size_t>(std::max<int>(beat.length, 0)))
            return handedIn + "has rows of different lengths";
    }
    if (beat.posQ < 0 || beat.posJ <= beat.posQ || beat.posJ >= beat.length)
        return handedIn + "does not have Q before J within its " + std::to_string(beat.length) + " samples";
    const double qrsMs = (beat.posJ - beat.posQ) * kMsPerSecond / options.fs;
    if (qrsMs < BeatLearner::kNarrowestQrsMs || qrsMs > BeatLearner::kWidestQrsMs)
        return handedIn + "is not from a recording at " + std::to_string(options.fs) +
               " Hz: its QRS would last " + std::to_string(std::lround(qrsMs)) + " ms";
    return {};
}

const SessionOptions& Checked(const SessionOptions& options) {
    const std::string refusal = StressSession::Refusal(options);
    if (!refusal.empty()) throw std::invalid_argument(refusal);
    return options;
}

/// Appends to values that have room for kKeptRates; forgets the older half of them where they are full.
template <typename Value>
void Keep(std::vector<Value>& values, const Value& value) {
    if (values.size() == kKeptRates) values.erase(values.begin(), values.begin() + kKeptRates / 2);
    values.push_back(value);
}

/// Where memory runs out, a beat may be missed; the session goes on.
template <typename Call>
void WithoutMemoryFailures(Call call) {
    try {
        call();
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace

class StressSession::Impl {
public:
    Impl(const SessionOptions& options, SessionObserver& observer);

    void TakeFrame(const short* frame);
    void Finish();

    const BeatFollower& Follower() const { return m_follower; }
    const SignalConditioner& Conditioner() const { return m_conditioner; }
    double DelayMs() const { return m_conditioner.DelaySamples() * kMsPerSecond / m_fs; }
    long long FramesIn() const { return m_framesIn; }
    std::size_t Leads() const { return m_chn; }

private:
    enum class Phase {
        Gather,   // conditioned frames are kept until there are enough to learn from
        Learn,    // the first averaged beat, from those kept
        Follow,   // frames are matched
        Relearn,  // the same, and another averaged beat is learned from the latest half minute
        Give,     // no averaged beat was to be had
    };

    void TakeConditioned();
    void TellLeads();
    void TellBeats(long long shown);
    void Advance();
    void Gather();
    void BeginLearning(Phase phase, long long from, long long to);
    void Learn(long long pieces);
    void EndLearning();
    void EndRelearning();
    void LookForRelearning();
    void Follow(const LearnedBeat& beat, long long from, bool again);
    void MatchKept(long long most);
    long long MatchEnd() const;
    void Match(long long index);
    void LeaveOutBadLeads();
    void TellRate(BeatEvent& beat) const;
    double Seconds(long long index) const {
        return static_cast<double>(index - m_conditioner.DelaySamples()) / m_fs;
    }
    long long FramesOf(int seconds) const { return static_cast<long long>(seconds) * m_fs; }

    SessionObserver& m_observer;
    SessionOptions m_options;
    int m_fs;
    std::size_t m_chn;
    SignalConditioner m_conditioner;
    LeadWatch m_watch;
    BeatFinder m_finder;
    RateFollower m_rate;
    BeatFollower m_follower;
    BeatLearner m_learner;
    STMeter m_meter;

    // Conditioned frames are numbered as they leave the conditioner: frame n shows frame n - delay of the
    // input.
    FrameRing m_kept;
    std::vector<short> m_raw;          // last frame of the input
    std::vector<short> m_conditioned;  // last conditioned frame
    long long m_framesIn = 0;
    bool m_hasEnded = false;  // Finish was called

    Phase m_phase = Phase::Gather;
    int m_stretchSeconds = kFirstStretchSeconds;  // to learn from next
    long long m_stretchEnd = 0;                   // of the stretch being learned from
    long long m_learnsSince = 0;                  // frame with which the present learning began
    std::optional<LearnedBeat> m_learned;         // the best so far, while it is not confident
    long long m_nextMatch = 0;                    // frame to match next

    int m_foundSinceMatch = 0;    // beats that the heart rate has found since one matched
    long long m_relearnDue = 0;   // frame from which on to learn again, unless a beat matches before
    long long m_relearnWait = 0;  // frames to the next attempt after one that fails

    BeatEvent m_beat;                    // the last one told
    bool m_isBeatTold = false;           // m_beat is one that has been told
    std::vector<long long> m_toTell;     // frames of the input in which beats were found
    std::vector<long long> m_found;      // frames of the input in which beats were found lately
    std::vector<IntervalEvent> m_rates;  // the latest ones that are shown
    std::vector<int> m_beatsToTrust;     // per lead: beats until it has ST again
    std::vector<bool> m_isGood;          // per lead: was neither off nor disturbed in the latest beat
};

StressSession::Impl::Impl(const SessionOptions& options, SessionObserver& observer)
    : m_observer(observer),
      m_options(options),
      m_fs(options.fs),
      m_chn(options.leads.size()),
      m_conditioner(m_fs, m_chn, options.uVpb, options.conditioning),
      m_watch(m_fs, m_chn, options.uVpb),
      m_finder(m_fs, m_chn, options.uVpb),
      m_rate(m_fs, m_chn),
      m_follower(m_fs, m_chn, options.postJms),
      m_learner(m_fs, m_chn),
      m_meter(m_fs, m_chn, options.stRateLimitBpm, m_conditioner.SagPerSecond()),
      m_kept(m_chn, static_cast<std::size_t>(kKeptSeconds) * static_cast<std::size_t>(m_fs)),
      m_raw(m_chn),
      m_conditioned(m_chn),
      m_beatsToTrust(m_chn),
      m_isGood(m_chn) {
    m_beat.levelUv.resize(m_chn);
    m_beat.slopeUvPerMs.resize(m_chn);
    m_beat.jUv.resize(m_chn);
    m_beat.st.resize(m_chn);
    m_toTell.reserve(kKeptRates);
    m_found.reserve(kKeptRates);
    m_rates.reserve(kKeptRates);
    m_nextMatch = m_conditioner.SettlingSamples();
}

void StressSession::Impl::TakeFrame(const short* frame) {
    if (m_hasEnded) return;
    std::copy_n(frame, m_chn, m_raw.begin());
    ++m_framesIn;
    m_watch.Take(m_raw.data());
    const std::vector<long long>& found = m_finder.Take(m_raw.data());
    m_toTell.insert(m_toTell.end(), found.begin(), found.end());
    TakeConditioned();
}

// The last frame is repeated until the filters have given out everything.
void StressSession::Impl::Finish() {
    if (m_hasEnded) return;
    const std::vector<long long>& found = m_finder.Finish();
    m_toTell.insert(m_toTell.end(), found.begin(), found.end());
    for (int i = 0; m_framesIn > 0 && i < m_conditioner.DelaySamples(); ++i) TakeConditioned();
    m_hasEnded = true;
    if (m_phase == Phase::Gather) Gather();
    if (m_phase == Phase::Learn || m_phase == Phase::Relearn) Learn(std::numeric_limits<long long>::max());
    MatchKept(std::numeric_limits<long long>::max());
    m_watch.Finish();
    TellLeads();
}

void StressSession::Impl::TakeConditioned() {
    m_conditioner.Process(m_raw.data(), m_conditioned.data());
    for (std::size_t lead = 0; lead < m_chn; ++lead)
        if (m_conditioner.IsLost(lead)) m_watch.Disturb(lead);
    TellLeads();
    const long long index = m_kept.End();
    m_kept.Push(m_conditioned.data());
    if (index >= m_conditioner.DelaySamples()) m_observer.OnConditioned(m_conditioned.data(), Seconds(index));
    TellBeats(index - m_conditioner.DelaySamples());
    if (index >= m_conditioner.SettlingSamples()) m_rate.Take(m_conditioned.data());
    Advance();
}

// A lead is known to be off two seconds late: its ST values given since then are void.
void StressSession::Impl::TellLeads() {
    for (LeadEvent event : m_watch.Events()) {
        if (event.kind == LeadEvent::Kind::Off) {
            event.voidFromSeconds = event.seconds - kReachAheadSeconds;
            if (m_isBeatTold && m_beat.seconds >= event.voidFromSeconds)
                m_beatsToTrust[event.lead] = kBeatsToTrust;
        }
        m_observer.OnLead(event);
    }
}

// Beats are told when the frames up to them have been shown.
void StressSession::Impl::TellBeats(long long shown) {
    while (!m_toTell.empty() && m_toTell.front() <= shown) {
        const IntervalEvent interval = m_rate.TakeBeat(m_toTell.front());
        ++m_foundSinceMatch;
        Keep(m_found, m_toTell.front());
        if (!std::isnan(interval.bpm)) Keep(m_rates, interval);
        m_toTell.erase(m_toTell.begin());
        m_observer.OnInterval(interval);
    }
}

void StressSession::Impl::Advance() {
    const long long seconds = (m_kept.End() - m_learnsSince) / m_fs;
    const long long pieces = static_cast<long long>(kPiecesPerFrame)
                             << std::min<long long>(seconds, kMostDoublings);
    switch (m_phase) {
        case Phase::Gather: return Gather();
        case Phase::Learn: return Learn(pieces);
        case Phase::Follow: MatchKept(kMatchesPerFrame); return LookForRelearning();
        case Phase::Relearn: MatchKept(kMatchesPerFrame); return Learn(pieces);
        case Phase::Give: return;
    }
}

// Begins to learn once there is enough signal, or no more to come.
void StressSession::Impl::Gather() {
    if (m_options.beat) return Follow(*m_options.beat, m_nextMatch, false);
    const long long enough = m_nextMatch + FramesOf(m_stretchSeconds);
    if (m_kept.End() >= enough || m_hasEnded)
        BeginLearning(Phase::Learn, m_nextMatch, std::max(m_nextMatch, std::min(enough, m_kept.End())));
}

void StressSession::Impl::BeginLearning(Phase phase, long long from, long long to) {
    m_phase = phase;
    m_stretchEnd = to;
    m_learnsSince = m_kept.End();
    std::vector<int> beats;
    for (const long long frame : m_found) {
        const long long index = frame + m_conditioner.DelaySamples();
        if (index >= from && index < to) beats.push_back(static_cast<int>(index - from));
    }
    m_learner.Begin(m_kept.Copy(from, to), std::move(beats), m_finder.ClearLeads());
}

void StressSession::Impl::Learn(long long pieces) {
    try {
        for (; pieces > 0; --pieces)
            if (!m_learner.Work()) break;
    } catch (const std::bad_alloc&) {
        m_learner.Cancel();  // as though there were no beats; the next attempt may have more memory
    }
    if (pieces == 0) return;
    if (m_phase == Phase::Learn)
        EndLearning();
    else
        EndRelearning();
}

void StressSession::Impl::EndLearning() {
    if (m_learner.Result()) m_learned = m_learner.Result();
    const bool isLast = m_hasEnded || m_stretchSeconds + kMoreSeconds > kLongestStretchSeconds;
    if (m_learned && (m_learned->confident || isLast)) return Follow(*m_learned, m_nextMatch, false);
    m_phase = Phase::Gather;
    m_stretchSeconds += kMoreSeconds;
    if (!isLast) return;
    m_nextMatch = m_stretchEnd;
    m_stretchSeconds = kFirstStretchSeconds;
    if (!m_hasEnded) return;
    m_phase = Phase::Give;
    m_observer.OnNotLearned("not enough beats to learn from: no stretch of " +
                            std::to_string(kFirstStretchSeconds) + " to " +
                            std::to_string(kLongestStretchSeconds) + " s has " +
                            std::to_string(BeatLearner::kFewestBeats) + " clean ones that are alike");
}

void StressSession::Impl::LookForRelearning() {
    if (!m_options.relearn || m_nextMatch < MatchEnd() || m_nextMatch - 1 < m_relearnDue ||
        m_foundSinceMatch < BeatLearner::kConfidentBeats)
        return;
    BeginLearning(Phase::Relearn, m_nextMatch - FramesOf(kNoMatchSeconds), m_nextMatch);
}

void StressSession::Impl::EndRelearning() {
    m_phase = Phase::Follow;
    const std::optional<LearnedBeat>& beat = m_learner.Result();
    if (beat && beat->confident && m_follower.Reaches(*beat))
        return Follow(*beat, m_stretchEnd - FramesOf(kNoMatchSeconds), true);
    m_relearnDue = m_stretchEnd - 1 + m_relearnWait;
    m_relearnWait = std::min(2 * m_relearnWait, FramesOf(kLongestRelearnWaitSeconds));
}

// Matches frames with this beat from now on, first the kept ones from frame `from` on.
void StressSession::Impl::Follow(const LearnedBeat& beat, long long from, bool again) {
    if (!m_follower.Reaches(beat)) {
        m_phase = Phase::Give;
        m_observer.OnNotLearned("at this heart rate ST cannot be measured " +
                                std::to_string(m_options.postJms) +
                                " ms after J: the averaged beat ends before");
        return;
    }
    m_follower.Start(beat);
    m_meter.Start(beat);
    m_phase = Phase::Follow;
    m_nextMatch = std::max(from, m_kept.Begin());
    m_relearnDue = m_nextMatch + FramesOf(kNoMatchSeconds);
    m_relearnWait = FramesOf(kFirstRelearnWaitSeconds);
    m_observer.OnLearned(beat, Seconds(m_nextMatch), again);
}

void StressSession::Impl::MatchKept(long long most) {
    if (!m_follower.HasBeat()) return;
    for (const long long end = MatchEnd(); most > 0 && m_nextMatch < end; --most) Match(m_nextMatch++);
}

// Frames from here on wait: a beat that matches is to have its RR, which is known a little later than its
// end.
long long StressSession::Impl::MatchEnd() const {
    return m_hasEnded ? m_kept.End() : m_kept.End() - static_cast<long long>(kMatchedAfterSeconds * m_fs);
}

void StressSession::Impl::Match(long long index) {
    if (!m_follower.Match(m_kept.Frame(index), m_beat)) return;
    m_beat.seconds = Seconds(index - m_follower.SamplesSinceR());
    TellRate(m_beat);
    m_isBeatTold = true;
    LeaveOutBadLeads();
    m_meter.Fold(m_kept, index - m_follower.SamplesSinceR(), m_isGood, m_beat);
    const double delayRestMs = m_conditioner.DelayRest() * kMsPerSecond / m_fs;
    m_beat.qMs -= delayRestMs;
    m_beat.jMs -= delayRestMs;
    m_foundSinceMatch = 0;
    m_relearnDue = index + FramesOf(kNoMatchSeconds);
    m_relearnWait = FramesOf(kFirstRelearnWaitSeconds);
    if (m_phase == Phase::Relearn) {
        m_learner.Cancel();
        m_phase = Phase::Follow;
    }
    m_observer.OnBeat(m_beat);
}

void StressSession::Impl::LeaveOutBadLeads() {
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        m_isGood[lead] =
            m_watch.IsGood(lead, {m_beat.seconds - kReachBackSeconds, m_beat.seconds + kReachAheadSeconds});
        if (!m_isGood[lead]) m_beatsToTrust[lead] = kBeatsToTrust;
        if (m_beatsToTrust[lead] == 0) continue;
        --m_beatsToTrust[lead];
        m_beat.levelUv[lead] = m_beat.slopeUvPerMs[lead] = m_beat.jUv[lead] = kNothing;
    }
}

// The heart rate shown at the time of a beat, and its RR where it is one of those found.
void StressSession::Impl::TellRate(BeatEvent& beat) const {
    const auto after =
        std::upper_bound(m_rates.begin(), m_rates.end(), beat.seconds + kSameBeatSeconds,
                         [](double time, const IntervalEvent& rate) { return time < rate.seconds; });
    beat.bpm = beat.rrMs = kNaN;
    if (after == m_rates.begin()) return;
    beat.bpm = (after - 1)->bpm;
    if ((after - 1)->seconds > beat.seconds - kSameBeatSeconds) beat.rrMs = (after - 1)->rrMs;
}

SessionObserver::~SessionObserver() = default;

std::string StressSession::Refusal(const SessionOptions& options) {
    if (options.leads.empty() || options.leads.size() > kMostLeads)
        return "needs 1 to " + std::to_string(kMostLeads) + " leads, has " +
               std::to_string(options.leads.size());
    if (options.postJms < kEarliestPostJms || options.postJms > kLatestPostJms)
        return "ST must be measured " + std::to_string(kEarliestPostJms) + " to " +
               std::to_string(kLatestPostJms) + " ms after J, not " + std::to_string(options.postJms);
    if (!(options.stRateLimitBpm > 0))
        return "the heart rate above which ST is measured earlier must be above 0";
    if (!(options.uVpb > 0) || std::isinf(options.uVpb)) return "the microvolts per unit must be above 0";
    std::string conditioning = SignalConditioner::Refusal(options.fs, options.conditioning);
    return conditioning.empty() && options.beat ? BeatRefusal(options) : conditioning;
}

StressSession::StressSession(const SessionOptions& options, SessionObserver& observer)
    : m_impl(std::make_unique<Impl>(Checked(options), observer)) {}

StressSession::~StressSession() = default;

void StressSession::Push(const short* frames, std::size_t count) noexcept {
    if (frames == nullptr) return;
    const std::size_t chn = m_impl->Leads();
    for (std::size_t i = 0; i < count; ++i)
        WithoutMemoryFailures([&] { m_impl->TakeFrame(frames + i * chn); });
}

void StressSession::Finish() noexcept {
    WithoutMemoryFailures([&] { m_impl->Finish(); });
}

std::vector<std::vector<float>> StressSession::Template() const { return m_impl->Follower().BeatUv(); }

BeatPositionsMs StressSession::Positions() const { return m_impl->Follower().Positions(); }

double StressSession::DelayMs() const { return m_impl->DelayMs(); }

const std::string& StressSession::Conditioning() const { return m_impl->Conditioner().Description(); }

long long StressSession::Frames() const { return m_impl->FramesIn(); }

}  // namespace qz
