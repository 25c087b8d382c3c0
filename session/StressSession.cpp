#include "session/StressSession.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

#include "core/FloatingPoint.h"
#include "session/internal/BeatClasser.h"
#include "session/internal/BeatFinder.h"
#include "session/internal/BeatLearner.h"
#include "session/internal/BeatShapes.h"
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

// Where beats do not match, another averaged beat is learned from them: from a short stretch where they are
// many, else from a longer one where they come between others; after a failure later, and from a longer one.
struct RelearnRule {
    int seconds, fewestBeats;
};
constexpr RelearnRule kRelearnRules[] = {{10, 7}, {30, 10}};
constexpr int kFewestOfFound = 3;  // with fewer than a third of the beats it is not worth while
constexpr int kLongestRelearnSeconds = 30;
constexpr int kFirstRelearnWaitSeconds = 2;
constexpr int kLongestRelearnWaitSeconds = 20;

// Conditioned frames are kept for the longest stretch and for the time in which a beat is learned from it:
// for the first beat at first, and for further ones once the kept frames have been matched.
constexpr int kLearningSeconds = 10;
constexpr int kKeptSeconds = kLongestStretchSeconds + kLearningSeconds;
constexpr int kKeptToRelearnSeconds = kLongestRelearnSeconds + kLearningSeconds;
// Pieces of learning done, and kept frames matched, with each new frame. The pieces double with each second
// that the learning takes, so that it ends long before its stretch is forgotten.
constexpr int kPiecesPerFrame = 4;
constexpr int kMostDoublings = 12;
constexpr int kMatchesPerFrame = 16;
// Frames are matched this much later than they come: the RR and the class of a beat are then known, unless it
// was searched back, and what disturbs it.
constexpr double kMatchedAfterSeconds = 1.5;
constexpr double kDecidedAfterSeconds = 0.8;  // after its R a beat has been told or does not match

// What disturbs a lead between these times from an R changes the beat, but for the delay of the filters, by
// which they reach to both sides. The high-pass goes on swinging after a jump.
constexpr double kBeatAheadSeconds = 0.42, kBeatBackSeconds = 0.3;
constexpr double kSwingSeconds = 3;

constexpr std::size_t kMostKinds = 3;  // of normal beats that are like one averaged beat
constexpr int kFreshSeconds = 10;      // the mean of a kind that was not seen for so long is of the past

constexpr int kFirstQualitySeconds = 6;  // the first beats are known before

constexpr std::size_t kMostLeads = 64;
constexpr std::size_t kKeptRates = 450;    // 90 s at 300 beats/min
constexpr double kSameBeatSeconds = 0.15;  // R of a matched beat and the middle of its QRS are closer
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

std::string BeatRefusal(const SessionOptions& options) {
    const LearnedBeat& beat = *options.beat;
    const std::string handedIn = "the averaged beat that was handed in ";
    const std::size_t chn = options.leads.size();
    if (beat.rows.size() != chn)
        return handedIn + "has " + std::to_string(beat.rows.size()) + " leads, not " + std::to_string(chn);
    if (beat.usable.size() != chn)
        return handedIn + "tells of " + std::to_string(beat.usable.size()) +
               " leads whether they are usable, not of " + std::to_string(chn);
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
    void SetPoints(const PointsByHand& points);

    std::vector<std::vector<float>> BeatUv() const { return m_shapes.BeatUv(); }
    BeatPositionsMs Positions() const;
    BeatPositionsMs MeasuredPositions() const;
    MeasuredBeat Measured() const;
    const SignalConditioner& Conditioner() const { return m_conditioner; }
    double DelayMs() const { return m_conditioner.DelaySamples() * kMsPerSecond / m_fs; }
    long long FramesIn() const { return m_framesIn; }
    std::size_t Leads() const { return m_chn; }

private:
    enum class Phase {
        Gather,   // conditioned frames are kept until there are enough to learn from
        Learn,    // the first averaged beat, from those kept
        Follow,   // frames are matched
        Relearn,  // the same, and another averaged beat is learned
        Give,     // no averaged beat was to be had
    };

    // The matching takes beats for alike whose QRS differs in little but its beginning, as with a bypass
    // tract that conducts and does not; the classes tell them apart, and each kind has a mean of its own.
    struct ShapeMeter {
        int shape = 0;                     // number of the averaged beat
        int kind = BeatClasser::kNoShape;  // shape of the classer; none until a beat is of one
        long long lastR = 0;
        STMeter meter;
    };
    struct FoundBeat : BeatClasser::Beat {
        bool isMatched = false;
        bool IsToMatch() const { return beatClass != BeatClass::Ventricular; }
    };

    void TakeConditioned();
    void TellLeads();
    void TellBeats(long long shown);
    bool IsNowhereGood(double beatSeconds) const;
    void TellQuality();
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
    void TellBeat(long long r);
    void MarkMatched(long long r);
    void Measure(long long r);
    ShapeMeter* MeterOf(int kind, long long r);
    bool IsGood(std::size_t lead, double beatSeconds) const;
    void TellRate(BeatEvent& beat) const;
    const FoundBeat* FoundAt(double seconds) const;
    BeatClass ClassAt(double seconds) const;
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
    BeatClasser m_classer;
    RateFollower m_rate;
    BeatShapes m_shapes;
    BeatLearner m_learner;

    // Conditioned frames are numbered as they leave the conditioner: frame n shows frame n - delay of the
    // input.
    FrameRing m_kept;
    std::vector<short> m_raw;          // last frame of the input
    std::vector<short> m_conditioned;  // last conditioned frame
    long long m_framesIn = 0;
    bool m_hasEnded = false;  // Finish was called

    Phase m_phase = Phase::Gather;
    int m_stretchSeconds = kFirstStretchSeconds;     // to learn from next
    long long m_stretchBegin = 0, m_stretchEnd = 0;  // frames being learned from
    long long m_learnsSince = 0;                     // frame with which the present learning began
    std::optional<LearnedBeat> m_learned;            // the best so far, while it is not confident
    long long m_firstMatch = 0;                      // frame from which on there is something to match

    long long m_relearnDue = 0;      // frame from which on to look whether beats match
    long long m_relearnWait = 0;     // frames to the next attempt after one that fails
    long long m_relearnStretch = 0;  // frames that the next attempt takes at the least
    bool m_isRelearnedMore = false;  // the beats being learned from are more than the others
    const IsGoodLead m_isGood;       // asked by the matching

    QualityEvent m_quality;                   // the last one told
    BeatEvent m_beat;                         // the last one told
    bool m_isBeatTold = false;                // m_beat is one that has been told
    std::vector<BeatClasser::Beat> m_toTell;  // beats found, frames being those of the input
    std::vector<FoundBeat> m_found;           // the same, those that have been told lately
    std::vector<IntervalEvent> m_rates;       // the latest ones that are shown
    std::vector<ShapeMeter> m_meters;         // of the shapes that are followed
    int m_usualKind = 0;                      // shape of the latest beat of the usual one
    int m_measuredShape = 0, m_measuredKind = BeatClasser::kNoShape;  // of the meter that ST was told of last
    std::vector<bool> m_isGoodBeat;  // per lead: nothing has disturbed the latest beat
};

StressSession::Impl::Impl(const SessionOptions& options, SessionObserver& observer)
    : m_observer(observer),
      m_options(options),
      m_fs(options.fs),
      m_chn(options.leads.size()),
      m_conditioner(m_fs, m_chn, options.uVpb, options.conditioning),
      m_watch(m_fs, m_chn, options.uVpb),
      m_finder(m_fs, m_chn, options.uVpb),
      m_classer(m_finder, options.isPaced),
      m_rate(m_fs, m_chn),
      m_shapes(m_fs, m_chn, options.postJms),
      m_learner(m_fs, m_chn),
      m_kept(m_chn, FramesOf(kKeptSeconds)),
      m_raw(m_chn),
      m_conditioned(m_chn),
      m_isGood([this](std::size_t lead, long long samplesSinceR) {
          return IsGood(lead, Seconds(m_shapes.Next() - samplesSinceR));
      }),
      m_isGoodBeat(m_chn) {
    m_quality.quality.resize(m_chn);
    m_beat.levelUv.resize(m_chn);
    m_beat.slopeUvPerMs.resize(m_chn);
    m_beat.jUv.resize(m_chn);
    m_beat.st.resize(m_chn);
    m_toTell.reserve(kKeptRates);
    m_found.reserve(kKeptRates);
    m_rates.reserve(kKeptRates);
    m_firstMatch = m_conditioner.SettlingSamples();
    m_relearnWait = FramesOf(kFirstRelearnWaitSeconds);
}

void StressSession::Impl::TakeFrame(const short* frame) {
    if (m_hasEnded) return;
    const bool wasMissing = m_watch.AreAllOff();
    m_watch.Take(frame);
    const bool isMissing = m_watch.AreAllOff();
    if (isMissing && !wasMissing) m_finder.BeginGap();
    if (wasMissing && !isMissing) {
        m_finder.EndGap(m_raw.data(), frame);
        m_rate.TakeGap(m_framesIn);
    }
    std::copy_n(frame, m_chn, m_raw.begin());
    ++m_framesIn;
    for (const BeatClasser::Beat& beat : m_classer.Take(m_finder.Take(m_raw.data())))
        m_toTell.push_back(beat);
    TakeConditioned();
    if (m_framesIn % FramesOf(kQualitySeconds) == 0) TellQuality();
}

// The last frame is repeated until the filters have given out everything.
void StressSession::Impl::Finish() {
    if (m_hasEnded) return;
    const std::vector<BeatClasser::Beat>& found = m_classer.Finish(m_finder.Finish());
    m_toTell.insert(m_toTell.end(), found.begin(), found.end());
    for (int i = 0; m_framesIn > 0 && i < m_conditioner.DelaySamples(); ++i) TakeConditioned();
    m_hasEnded = true;
    if (m_phase == Phase::Gather) Gather();
    if (m_phase == Phase::Learn || m_phase == Phase::Relearn) Learn(std::numeric_limits<long long>::max());
    MatchKept(std::numeric_limits<long long>::max());
    while (const std::optional<long long> r = m_shapes.Finish(m_isGood, m_beat)) TellBeat(*r);
    m_watch.Finish();
    TellLeads();
}

void StressSession::Impl::SetPoints(const PointsByHand& points) {
    m_options.points = points;
    for (ShapeMeter& one : m_meters) one.meter.SetPoints(points);
}

BeatPositionsMs StressSession::Impl::Positions() const {
    BeatPositionsMs at = m_shapes.Positions();
    if (!m_shapes.HasBeat()) return at;
    if (m_options.points.qMs) at.q = at.r + *m_options.points.qMs;
    if (m_options.points.jMs) at.j = at.r + *m_options.points.jMs;
    return at;
}

BeatPositionsMs StressSession::Impl::MeasuredPositions() const {
    BeatPositionsMs at = Positions();
    for (const ShapeMeter& one : m_meters) {
        if (!m_isBeatTold || one.shape != m_beat.shape) continue;
        if (one.kind != m_usualKind && one.kind != BeatClasser::kNoShape) continue;
        at.q = at.r + one.meter.QFromRMs();
        at.j = at.r + one.meter.JFromRMs();
    }
    return at;
}

MeasuredBeat StressSession::Impl::Measured() const {
    const auto measured = std::find_if(m_meters.begin(), m_meters.end(), [this](const ShapeMeter& one) {
        return one.shape == m_measuredShape && one.kind == m_measuredKind;
    });
    return measured == m_meters.end() ? MeasuredBeat() : measured->meter.Copy();
}

void StressSession::Impl::TakeConditioned() {
    m_conditioner.Process(m_raw.data(), m_conditioned.data());
    for (std::size_t lead = 0; m_conditioner.IsAnyLost() && lead < m_chn; ++lead)
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
        m_finder.Disturb(event.lead, m_watch.IsBad(event.lead));
        if (event.kind == LeadEvent::Kind::Off) {
            event.voidFromSeconds = event.seconds - kBeatAheadSeconds - DelayMs() / kMsPerSecond;
            if (m_isBeatTold && m_beat.seconds >= event.voidFromSeconds) m_shapes.Renew(event.lead);
        }
        m_observer.OnLead(event);
    }
}

// Beats are told when the frames up to them have been shown.
void StressSession::Impl::TellBeats(long long shown) {
    while (!m_toTell.empty() && m_toTell.front().frame <= shown) {
        BeatClasser::Beat& beat = m_toTell.front();
        IntervalEvent interval = m_rate.TakeBeat(beat.frame);
        if (beat.beatClass == BeatClass::Ventricular && IsNowhereGood(interval.seconds))
            beat.beatClass = BeatClass::Unclassified;
        interval.beatClass = beat.beatClass;
        Keep(m_found, {beat, false});
        if (!std::isnan(interval.bpm)) Keep(m_rates, interval);
        m_toTell.erase(m_toTell.begin());
        m_observer.OnInterval(interval);
    }
}

// True if all leads are off or disturbed around a beat, which has its shape from that.
bool StressSession::Impl::IsNowhereGood(double beatSeconds) const {
    const Span around{beatSeconds - kBeatBackSeconds, beatSeconds + kBeatBackSeconds};
    for (std::size_t lead = 0; lead < m_chn; ++lead)
        if (m_watch.IsGood(lead, around, 0)) return false;
    return true;
}

void StressSession::Impl::TellQuality() {
    if (!m_finder.HasBeats() && m_framesIn < FramesOf(kFirstQualitySeconds)) return;
    m_quality.seconds = static_cast<double>(m_framesIn) / m_fs;
    const Span span{m_quality.seconds - kQualitySeconds, m_quality.seconds};
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        const bool isGood = m_finder.HasBeats() && m_watch.IsGood(lead, span, 0);
        m_quality.quality[lead] = isGood ? static_cast<float>(m_finder.Quality(lead)) : 0.0F;
    }
    m_observer.OnQuality(m_quality);
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
    if (m_options.beat) return Follow(*m_options.beat, m_firstMatch, false);
    const long long enough = m_firstMatch + FramesOf(m_stretchSeconds);
    if (m_kept.End() >= enough || m_hasEnded)
        BeginLearning(Phase::Learn, m_firstMatch, std::max(m_firstMatch, std::min(enough, m_kept.End())));
}

void StressSession::Impl::BeginLearning(Phase phase, long long from, long long to) {
    m_phase = phase;
    m_stretchBegin = from;
    m_stretchEnd = to;
    m_learnsSince = m_kept.End();
    std::vector<int> beats;
    for (const FoundBeat& beat : m_found) {
        const long long index = beat.frame + m_conditioner.DelaySamples();
        if (index >= from && index < to && beat.IsToMatch() && !(phase == Phase::Relearn && beat.isMatched))
            beats.push_back(static_cast<int>(index - from));
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
    if (m_learned && (m_learned->confident || isLast)) return Follow(*m_learned, m_firstMatch, false);
    m_phase = Phase::Gather;
    m_stretchSeconds += kMoreSeconds;
    if (!isLast) return;
    m_firstMatch = m_stretchEnd;
    m_stretchSeconds = kFirstStretchSeconds;
    if (!m_hasEnded) return;
    m_phase = Phase::Give;
    m_observer.OnNotLearned("not enough beats to learn from: no stretch of " +
                            std::to_string(kFirstStretchSeconds) + " to " +
                            std::to_string(kLongestStretchSeconds) + " s has " +
                            std::to_string(BeatLearner::kFewestBeats) + " clean ones that are alike");
}

// Looks once a second whether beats do not match.
void StressSession::Impl::LookForRelearning() {
    const long long now = m_shapes.Next();
    if (now < MatchEnd() || now < m_relearnDue) return;
    m_kept.Keep(FramesOf(kKeptToRelearnSeconds));
    m_relearnDue = now + m_fs;
    const long long decided = now - static_cast<long long>(kDecidedAfterSeconds * m_fs);
    for (const RelearnRule& rule : kRelearnRules) {
        const long long from = now - FramesOf(rule.seconds);
        int matched = 0, unmatched = 0;
        for (const FoundBeat& beat : m_found) {
            const long long index = beat.frame + m_conditioner.DelaySamples();
            if (index >= from && index < decided && beat.IsToMatch())
                ++(beat.isMatched ? matched : unmatched);
        }
        if (unmatched < rule.fewestBeats || kFewestOfFound * unmatched < matched + unmatched) continue;
        m_isRelearnedMore = unmatched > matched;
        const long long begin = now - std::max(FramesOf(rule.seconds), m_relearnStretch);
        return BeginLearning(Phase::Relearn, std::max(begin, m_firstMatch), m_kept.End());
    }
}

void StressSession::Impl::EndRelearning() {
    m_phase = Phase::Follow;
    const std::optional<LearnedBeat>& beat = m_learner.Result();
    if (beat && beat->confident && m_shapes.Reaches(*beat)) {
        m_relearnWait = FramesOf(kFirstRelearnWaitSeconds);
        m_relearnStretch = 0;
        return Follow(*beat, m_stretchBegin, true);
    }
    m_relearnStretch =
        std::min(m_stretchEnd - m_stretchBegin + FramesOf(kMoreSeconds), FramesOf(kLongestRelearnSeconds));
    m_relearnDue = m_stretchEnd + m_relearnWait;
    m_relearnWait = std::min(2 * m_relearnWait, FramesOf(kLongestRelearnWaitSeconds));
}

// Matches frames with this beat too from now on, first the kept ones from frame `from` on.
void StressSession::Impl::Follow(const LearnedBeat& beat, long long from, bool again) {
    if (!m_shapes.Reaches(beat)) {
        m_phase = Phase::Give;
        m_observer.OnNotLearned("at this heart rate ST cannot be measured " +
                                std::to_string(m_options.postJms) +
                                " ms after J: the averaged beat ends before");
        return;
    }
    const long long first = std::max(from, m_kept.Begin());
    const int shape = m_shapes.Add(beat, first, !again || m_isRelearnedMore);
    m_meters.erase(std::remove_if(m_meters.begin(), m_meters.end(),
                                  [this](const ShapeMeter& one) { return !m_shapes.Follows(one.shape); }),
                   m_meters.end());
    m_meters.push_back({shape, BeatClasser::kNoShape, 0,
                        STMeter(m_fs, m_chn, m_options.stRateLimitBpm, m_conditioner.SagPerSecond())});
    // The engine has placed its R in the beat, which otherwise is as it was learned.
    const BeatPositionsMs at = m_shapes.PositionsOf(shape);
    m_meters.back().meter.Start(beat, beat.posQ * kMsPerSecond / m_fs + at.r - at.q);
    m_meters.back().meter.SetPoints(m_options.points);
    if (!again) m_measuredShape = shape;
    m_phase = Phase::Follow;
    m_observer.OnLearned(beat, Seconds(first), again);
}

void StressSession::Impl::MatchKept(long long most) {
    if (!m_shapes.HasBeat()) return;
    for (const long long end = MatchEnd(); most > 0 && m_shapes.Next() < end; --most) {
        const std::optional<long long> r = m_shapes.Match(m_kept.Frame(m_shapes.Next()), m_isGood, m_beat);
        if (const std::optional<long long> folded = m_shapes.LastFold()) MarkMatched(*folded);
        if (r) TellBeat(*r);
    }
}

// Frames from here on wait.
long long StressSession::Impl::MatchEnd() const {
    return m_hasEnded ? m_kept.End() : m_kept.End() - static_cast<long long>(kMatchedAfterSeconds * m_fs);
}

void StressSession::Impl::TellBeat(long long r) {
    m_beat.seconds = Seconds(r);
    TellRate(m_beat);
    m_beat.beatClass = ClassAt(m_beat.seconds);
    m_isBeatTold = true;
    Measure(r);
    m_observer.OnBeat(m_beat);
}

// ST of the beat that is to be told, by the meter of its shape and kind; none where its kind is not the usual
// one.
void StressSession::Impl::Measure(long long r) {
    for (std::size_t lead = 0; lead < m_chn; ++lead) m_isGoodBeat[lead] = IsGood(lead, m_beat.seconds);
    m_beat.st.assign(m_chn, STMeasure());  // where its shape has just been given up
    m_beat.stPointMs = m_beat.qMs = m_beat.jMs = kNaN;
    const double delayRestMs = m_conditioner.DelayRest() * kMsPerSecond / m_fs;
    const FoundBeat* const found = FoundAt(m_beat.seconds);
    ShapeMeter* const own = MeterOf(found != nullptr ? found->shape : BeatClasser::kNoShape, r);
    if (own == nullptr) return;
    own->meter.Fold(m_kept, r, m_isGoodBeat, m_beat);
    m_beat.qMs -= delayRestMs;
    m_beat.jMs -= delayRestMs;
    const bool hasKind = found != nullptr && found->shape != BeatClasser::kNoShape;
    if (hasKind && found->isUsual) m_usualKind = found->shape;
    const auto isUsualThere = [&](const ShapeMeter& one) {
        return one.shape == m_beat.shape && one.kind == m_usualKind && &one != own &&
               r - one.lastR <= FramesOf(kFreshSeconds);
    };
    if (!hasKind || found->isUsual || std::none_of(m_meters.begin(), m_meters.end(), isUsualThere)) {
        const auto isLevel = [](float uV) { return !std::isnan(uV); };
        if (std::none_of(m_beat.levelUv.begin(), m_beat.levelUv.end(), isLevel)) return;
        m_measuredShape = m_beat.shape;
        m_measuredKind = own->kind;
        return;
    }
    m_beat.st.assign(m_chn, STMeasure());
    for (std::vector<float>* values : {&m_beat.levelUv, &m_beat.slopeUvPerMs, &m_beat.jUv})
        std::fill(values->begin(), values->end(), STMeasure::kNothing);
}

// The meter for beats of this kind, or the latest one for those of none, that are like the present averaged
// beat; null where that has been given up. A kind that is new begins with the points of the one before, and
// takes the place of that which is longest past.
StressSession::Impl::ShapeMeter* StressSession::Impl::MeterOf(int kind, long long r) {
    ShapeMeter *own = nullptr, *latest = nullptr, *oldest = nullptr;
    std::size_t count = 0;
    for (ShapeMeter& one : m_meters) {
        if (one.shape != m_beat.shape) continue;
        ++count;
        if (one.kind == kind || one.kind == BeatClasser::kNoShape) own = &one;
        if (latest == nullptr || one.lastR > latest->lastR) latest = &one;
        if (oldest == nullptr || one.lastR < oldest->lastR) oldest = &one;
    }
    if (latest == nullptr) return nullptr;
    if (kind == BeatClasser::kNoShape) {
        own = latest;
        kind = own->kind;
    }
    if (own == nullptr && count < kMostKinds) {
        m_meters.push_back(*latest);
        own = &m_meters.back();
        own->meter.Renew();
    } else if (own == nullptr) {
        if (oldest != latest) *oldest = *latest;
        own = oldest;
        own->meter.Renew();
    } else if (own != latest && r - own->lastR > FramesOf(kFreshSeconds)) {
        own->meter.Renew();
    }
    own->kind = kind;
    own->lastR = r;
    return own;
}

void StressSession::Impl::MarkMatched(long long r) {
    const auto near = static_cast<long long>(kSameBeatSeconds * m_fs);
    for (auto found = m_found.rbegin(); found != m_found.rend(); ++found) {
        const long long index = found->frame + m_conditioner.DelaySamples();
        if (index < r - near) break;
        if (index <= r + near) found->isMatched = true;
    }
}

// Whether the beat is one of those to be averaged, and nothing has disturbed the lead where it would change
// it.
bool StressSession::Impl::IsGood(std::size_t lead, double beatSeconds) const {
    if (ClassAt(beatSeconds) == BeatClass::Ventricular) return false;
    const double filterSeconds = DelayMs() / kMsPerSecond;
    return m_watch.IsGood(
        lead,
        {beatSeconds - kBeatBackSeconds - filterSeconds, beatSeconds + kBeatAheadSeconds + filterSeconds},
        m_options.conditioning.comb ? 0 : kSwingSeconds);
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

// The beat that was found at this time; null where there is none.
const StressSession::Impl::FoundBeat* StressSession::Impl::FoundAt(double seconds) const {
    const auto found = std::lower_bound(
        m_found.begin(), m_found.end(), (seconds - kSameBeatSeconds) * m_fs,
        [](const FoundBeat& beat, double frame) { return static_cast<double>(beat.frame) < frame; });
    const bool isThere =
        found != m_found.end() && static_cast<double>(found->frame) < (seconds + kSameBeatSeconds) * m_fs;
    return isThere ? &*found : nullptr;
}

// Its class; unclassified where there is none.
BeatClass StressSession::Impl::ClassAt(double seconds) const {
    const FoundBeat* const found = FoundAt(seconds);
    return found != nullptr ? found->beatClass : BeatClass::Unclassified;
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
    if (!options.points.AreInRange())
        return "points set by hand must lie 200 to 8 ms before R (Q), 8 to 250 ms after R (J) and 10 to 200 "
               "ms after J (ST)";
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

bool StressSession::SetPoints(const PointsByHand& points) noexcept {
    if (!points.AreInRange()) return false;
    m_impl->SetPoints(points);
    return true;
}

std::vector<std::vector<float>> StressSession::Template() const { return m_impl->BeatUv(); }

BeatPositionsMs StressSession::Positions() const { return m_impl->Positions(); }

BeatPositionsMs StressSession::MeasuredPositions() const { return m_impl->MeasuredPositions(); }

MeasuredBeat StressSession::Measured() const { return m_impl->Measured(); }

double StressSession::DelayMs() const { return m_impl->DelayMs(); }

const std::string& StressSession::Conditioning() const { return m_impl->Conditioner().Description(); }

long long StressSession::Frames() const { return m_impl->FramesIn(); }

}  // namespace qz
