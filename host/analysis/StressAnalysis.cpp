#include "host/analysis/StressAnalysis.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <iterator>
#include <limits>
#include <numeric>
#include <utility>

#include "host/record/Pacing.h"
#include "host/results/Holes.h"
#include "host/results/Reference.h"
#include "host/results/Summaries.h"
#include "host/support/HostError.h"
#include "host/support/Text.h"
#include "host/support/Units.h"
#include "session/MainsFrequency.h"

namespace {

// The frames in which the mains are looked for; fewer where the source is shorter.
std::vector<short> ReadAhead(FrameSource& source) {
    const std::size_t chn = source.Info().leads.size();
    std::vector<short> frames, frame(chn);
    for (int left = qz::kMainsSeconds * source.Info().fs; left > 0 && source.Read(frame.data()); --left)
        frames.insert(frames.end(), frame.begin(), frame.end());
    return frames;
}

constexpr double kLateSeconds = 15;  // a beat this much later than asked for shows something else

}  // namespace

StressOptions WithMains(StressOptions options, int measuredHz) {
    if (options.measureMains)
        options.conditioner.mainsHz =
            options.conditioner.comb ? qz::ConditioningOptions{}.mainsHz : measuredHz;
    return options;
}

qz::SessionOptions SessionOptionsFor(const SourceInfo& source, const StressOptions& options) {
    qz::SessionOptions session;
    session.fs = source.fs;
    session.uVpb = source.uVpb;
    session.leads = source.leads;
    session.conditioning = options.conditioner;
    session.postJms = options.stPoint.postJms.value_or(qz::kUsualPostJms);
    session.stRateLimitBpm = options.stPoint.rateLimitBpm;
    session.points = options.stPoint.byHand;
    session.isPaced = options.isPaced.value_or(TellsOfPacing(source.remarks));
    if (options.beat != nullptr) session.beat = *options.beat;
    if (const std::string refusal = qz::StressSession::Refusal(session); !refusal.empty())
        throw HostError(source.name, refusal);
    return session;
}

// Averages slide by some milliseconds in an hour, and the R of the engine changes its place with the shape:
// what stays is where the slopes of the QRS are.
static std::ptrdiff_t FindShift(const qz::MeasuredBeat& beat, const qz::MeasuredBeat& like,
                                double samplesPerMs) {
    constexpr double kMostMs = 40, kAroundMs = 20;
    const auto sampleOf = [&](double ms) { return std::lround(ms * samplesPerMs); };
    const std::ptrdiff_t usual = sampleOf(beat.positions.r - like.positions.r), most = sampleOf(kMostMs);
    const std::ptrdiff_t from = sampleOf(like.positions.q - kAroundMs),
                         to = sampleOf(like.positions.j + kAroundMs);
    const auto slope = [](const std::vector<float>& uV, std::ptrdiff_t at) {
        return at > 0 && at < std::ssize(uV) ? double{uV.begin()[at]} - uV.begin()[at - 1] : 0;
    };
    std::ptrdiff_t best = usual;
    double largest = 0;
    for (std::ptrdiff_t shift = usual - most; shift <= usual + most; ++shift) {
        double likeness = 0;
        for (std::size_t lead = 0; lead < std::min(beat.uV.size(), like.uV.size()); ++lead)
            for (std::ptrdiff_t i = from; i <= to; ++i)
                likeness += slope(like.uV[lead], i) * slope(beat.uV[lead], i + shift);
        if (likeness <= largest) continue;
        largest = likeness;
        best = shift;
    }
    return best;
}

void PlaceBeat(qz::MeasuredBeat& beat, const qz::MeasuredBeat& like, int fs) {
    const double samplesPerMs = fs / kMsPerSecond;
    const std::ptrdiff_t shift = FindShift(beat, like, samplesPerMs);
    const std::ptrdiff_t samples = std::lround(like.positions.length * samplesPerMs);
    for (double* at : {&beat.positions.q, &beat.positions.r, &beat.positions.j})
        *at -= static_cast<double>(shift) / samplesPerMs;
    for (std::vector<float>& uV : beat.uV) {
        const std::vector<float> row = std::exchange(uV, {});
        if (row.empty()) continue;
        for (std::ptrdiff_t i = shift; i < shift + samples; ++i)
            uV.push_back(*(row.begin() + std::clamp<std::ptrdiff_t>(i, 0, std::ssize(row) - 1)));
    }
}

void CheckOptions(const StressOptions& options) {
    constexpr int kAnyFs = 2000;  // a multiple of all that filters ask for
    SourceInfo any;
    any.name = "options";
    any.fs = kAnyFs;
    any.uVpb = 1;
    any.leads = {"I"};
    SessionOptionsFor(any, WithMains(options, 0));
}

StressAnalysis::StressAnalysis(FrameSource& source, const StressOptions& options,
                               std::vector<AnalysisObserver*> observers)
    : m_source(source),
      m_observers(std::move(observers)),
      m_ahead(ReadAhead(source)),
      m_nextAhead(m_ahead.begin()),
      m_measuredMainsHz(qz::MeasureMainsHz(m_ahead.data(), m_ahead.size() / source.Info().leads.size(),
                                           source.Info().leads.size(), source.Info().fs)),
      m_options(WithMains(options, m_measuredMainsHz)),
      m_session(SessionOptionsFor(source.Info(), m_options), *this),
      m_fs(source.Info().fs),
      m_chn(source.Info().leads.size()) {
    if (m_options.reference) m_result.reference = *m_options.reference;
    m_lowest.resize(m_chn);
    m_highest.resize(m_chn);
    m_referenceSumsUv.resize(m_chn);
    m_referenceBeats.resize(m_chn);
    m_result.referenceBeatUv.resize(m_chn);
    m_result.farthest.resize(m_chn);
    m_result.off.resize(m_chn);
    m_result.disturbed.resize(m_chn);
}

StressResult StressAnalysis::Run() {
    m_result.source = m_source.Info();
    m_result.conditioning =
        (m_options.measureMains && m_options.conditioner.mainsHz == 0 ? "no mains found, " : "") +
        m_session.Conditioning();
    m_result.mainsHz = m_options.conditioner.mainsHz;
    m_result.measuredMainsHz = m_measuredMainsHz;
    m_result.delayMs = m_session.DelayMs();
    m_result.stPoint = m_options.stPoint;

    std::vector<short> frame(m_chn);
    while (true) {
        m_result.interrupted = IsStopped();
        if (m_result.interrupted) break;
        if (!ReadFrame(frame.data())) {
            m_result.interrupted = IsStopped();  // a wait for more frames was
            break;
        }
        for (AnalysisObserver* observer : m_observers) observer->OnFrame(frame.data());
        m_session.Push(frame.data(), 1);
    }
    m_session.Finish();
    if (m_notLearned && m_result.interrupted)
        throw HostError(m_source.Info().name, "interrupted before an averaged beat was learned");
    if (m_notLearned && m_result.beatsFound.empty()) throw HostError(m_source.Info().name, *m_notLearned);
    Finish();
    return std::move(m_result);
}

bool StressAnalysis::ReadFrame(short* frame) {
    if (m_nextAhead == m_ahead.end()) return m_source.Read(frame);
    for (std::size_t lead = 0; lead < m_chn; ++lead) frame[lead] = *m_nextAhead++;
    return true;
}

bool StressAnalysis::IsStopped() const {
    return std::any_of(m_observers.begin(), m_observers.end(),
                       [](AnalysisObserver* observer) { return observer->Stop(); });
}

void StressAnalysis::OnConditioned(const short* uV, double seconds) {
    for (AnalysisObserver* observer : m_observers) observer->OnConditioned(uV, seconds);
}

void StressAnalysis::OnInterval(const qz::IntervalEvent& interval) {
    m_result.beatsFound.push_back({interval.seconds, interval.beatClass});
    if (std::isnan(interval.bpm)) return;
    m_result.rates.push_back({interval.seconds, interval.bpm, interval.votedBpm});
    if (m_peak.Take(m_result.rates.back())) m_newPeakSeconds = m_peak.Seconds();
    for (AnalysisObserver* observer : m_observers) observer->OnRate(m_result.rates.back());
}

void StressAnalysis::OnBeat(const qz::BeatEvent& beat) {
    STReading reading{beat.seconds,      beat.bpm,  beat.levelUv,
                      beat.slopeUvPerMs, beat.rrMs, beat.stPointMs,
                      beat.qMs,          beat.jMs,  {beat.st.begin(), beat.st.end()}};
    if (m_options.stPoint.postJms) {
        reading.stPointMs = m_options.stPoint.UsualMs();
    } else {
        for (std::size_t lead = 0; lead < m_chn; ++lead) {
            reading.levelUv[lead] = beat.st[lead].levelUv;
            reading.slopeUvPerMs[lead] = beat.st[lead].slopeUvPerMs;
        }
    }
    KeepBeats(reading);
    m_result.beats.push_back(std::move(reading));
    KeepAsked();
    KeepPeak();
    for (AnalysisObserver* observer : m_observers) observer->OnBeat(m_result.beats.back());
}

void StressAnalysis::OnLead(const qz::LeadEvent& event) {
    using Kind = qz::LeadEvent::Kind;
    std::vector<Span>& off = m_result.off[event.lead];
    std::vector<Span>& disturbed = m_result.disturbed[event.lead];
    switch (event.kind) {
        case Kind::Off: off.push_back({event.seconds, std::numeric_limits<double>::infinity()}); break;
        case Kind::On: off.back().toSeconds = event.seconds; break;
        case Kind::Disturbed: disturbed.push_back({event.seconds, event.seconds}); return;
        case Kind::Calm: disturbed.back().toSeconds = event.seconds; return;
    }
    for (AnalysisObserver* observer : m_observers)
        observer->OnLead(event.lead, event.kind == Kind::Off, event.seconds);
    for (auto beat = m_result.beats.rbegin(); beat != m_result.beats.rend(); ++beat) {
        if (beat->seconds < event.voidFromSeconds) break;
        beat->levelUv[event.lead] = beat->slopeUvPerMs[event.lead] = std::numeric_limits<float>::quiet_NaN();
        beat->st[event.lead] = {};
    }
}

void StressAnalysis::OnQuality(const qz::QualityEvent& event) { m_result.quality.push_back(event); }

void StressAnalysis::OnLearned(const LearnedBeat& beat, double fromSeconds, bool again) {
    if (again) {
        m_result.relearnedSeconds.push_back(fromSeconds);
        return;
    }
    m_result.learned = beat;
    m_first = BeatsNow();
    m_result.positions = m_first.positions;
    if (m_options.beat != nullptr) return;
    m_result.learned.record = m_source.Info().name;
    if (!beat.confident)
        m_result.warnings.push_back("the averaged beat is learned from " + std::to_string(beat.beatsUsed) +
                                    " beats with a likeness of " +
                                    std::to_string(beat.likeness).substr(0, 4) + "; ST values may be off");
}

void StressAnalysis::OnNotLearned(const std::string& why) { m_notLearned = why; }

// Keeps what the report may show of the averaged beats, as they are gone with the next one. Wherever the
// reference lies, the level farthest from it is the lowest or the highest of all.
void StressAnalysis::KeepBeats(const STReading& reading) {
    std::optional<qz::MeasuredBeat> now;
    const auto beatOf = [&](std::size_t lead) -> const std::vector<float>& {
        if (!now) now = BeatsNow();
        return now->uV[lead];
    };
    const auto beatThen = [&](std::size_t lead) {
        const std::vector<float>& uV = beatOf(lead);
        const BeatPositionsMs& at = now->positions;
        return BeatThen{reading.levelUv[lead], reading.seconds, uV, at.q, at.j, at.j + reading.stPointMs};
    };
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        const double levelUv = reading.levelUv[lead];
        if (std::isnan(levelUv)) continue;
        if (m_result.reference.why.empty()) m_result.reference = FirstReadings(reading.seconds);
        if (!(levelUv >= m_lowest[lead].levelUv)) m_lowest[lead] = beatThen(lead);
        if (!(levelUv <= m_highest[lead].levelUv)) m_highest[lead] = beatThen(lead);
        if (!m_result.reference.span.Contains(reading.seconds)) continue;
        std::vector<double>& sumsUv = m_referenceSumsUv[lead];
        sumsUv.resize(beatOf(lead).size());
        std::transform(sumsUv.begin(), sumsUv.end(), beatOf(lead).begin(), sumsUv.begin(), std::plus());
        m_referenceSumQMs += now->positions.q;
        m_referenceSumJMs += now->positions.j;
        ++m_referenceBeats[lead];
    }
}

BeatsThen StressAnalysis::BeatsAt(double askedSeconds) const {
    qz::MeasuredBeat now = BeatsNow();
    return {askedSeconds, m_result.beats.size() - 1, std::move(now.uV), now.positions.j};
}

// A beat of another shape than most has no level in any lead, and nothing was measured on it.
static bool IsMeasured(const STReading& reading) {
    return std::any_of(reading.levelUv.begin(), reading.levelUv.end(),
                       [](float uV) { return !std::isnan(uV); }) ||
           std::any_of(reading.st.begin(), reading.st.end(), [](const STPoints& st) { return st.isOnT; });
}

// The first beat from shortly before each time on, so that it still belongs to the stage that ends there.
void StressAnalysis::KeepAsked() {
    constexpr double kAheadSeconds = 2;
    const double now = m_result.beats.back().seconds;
    const std::vector<double>& asked = m_options.beatSeconds;
    for (; m_nextAsked < asked.size() && now >= asked[m_nextAsked] - kAheadSeconds; ++m_nextAsked) {
        if (now > asked[m_nextAsked] + kLateSeconds) continue;
        if (!IsMeasured(m_result.beats.back())) return;
        m_result.asked.push_back(BeatsAt(asked[m_nextAsked]));
    }
}

// Heart rates and averaged beats come with different delays: the peak takes the first beat from it on.
void StressAnalysis::KeepPeak() {
    const double now = m_result.beats.back().seconds;
    const bool isLate = now > m_newPeakSeconds + kLateSeconds;
    if (!(now >= m_newPeakSeconds) || (!isLate && !IsMeasured(m_result.beats.back()))) return;
    m_result.peak.reset();
    if (!isLate) m_result.peak = BeatsAt(m_newPeakSeconds);
    m_newPeakSeconds = kNothing;
}

void StressAnalysis::FinishBeats() {
    m_result.latestBeatUv = BeatsNow().uV;
    const double referenceRows = std::accumulate(m_referenceBeats.begin(), m_referenceBeats.end(), 0.0);
    m_result.referenceQMs = m_referenceSumQMs / referenceRows;
    m_result.referenceJMs = m_referenceSumJMs / referenceRows;
    for (std::size_t lead = 0; lead < m_chn; ++lead)
        for (const double sumUv : m_referenceSumsUv[lead])
            m_result.referenceBeatUv[lead].push_back(static_cast<float>(sumUv / m_referenceBeats[lead]));
    // A kept beat whose reading was taken back is not the farthest one.
    const std::vector<LeadSummary> leads = SummarizeLeads(m_result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead)
        for (const BeatThen& kept : {m_lowest[lead], m_highest[lead]})
            if (kept.seconds == leads[lead].seconds) m_result.farthest[lead] = kept;
}

// Those that the levels of the latest reading were measured on, its QRS where that of the first one is.
qz::MeasuredBeat StressAnalysis::BeatsNow() const {
    qz::MeasuredBeat now;
    if (m_options.stPoint.postJms) {
        now = {m_session.Positions(), m_session.Template()};
        for (std::vector<float>& uV : now.uV) {
            const auto prUv = static_cast<float>(PrLevelUv(uV, now.positions.q, m_fs));
            for (float& value : uV) value -= prUv;
        }
    } else {
        now = m_session.Measured();
    }
    now.uV.resize(m_chn);
    if (!m_first.uV.empty()) PlaceBeat(now, m_first, m_fs);
    return now;
}

void StressAnalysis::WarnOfBadLeads(const std::string& what, const std::vector<std::vector<Span>>& spans) {
    std::string text;
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        if (spans[lead].empty()) continue;
        text += (text.empty() ? "" : ", ") + m_result.source.leads[lead] + " (from " +
                Clock(spans[lead].front().fromSeconds) + " min:s on";
        if (spans[lead].size() > 1) text += ", " + std::to_string(spans[lead].size()) + " times";
        text += ")";
    }
    if (!text.empty()) m_result.warnings.push_back(what + ": " + text);
}

void StressAnalysis::WarnOfPoorSignal() {
    std::string text;
    const std::vector<QualitySummary> leads = SummarizeQuality(m_result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead)
        if (leads[lead].poorPart > kMostPoorPart)
            text += (text.empty() ? "" : ", ") + m_result.source.leads[lead] + " (" +
                    Number(100 * leads[lead].poorPart, 0) + " % of the time)";
    if (!text.empty()) m_result.warnings.push_back("poor signal: " + text);
}

void StressAnalysis::Finish() {
    if (m_notLearned) {
        m_result.learned.usable.assign(m_chn, false);
        m_result.warnings.push_back(*m_notLearned + "; the beats found may be noise");
    }
    m_result.seconds = m_result.source.SecondsOf(m_session.Frames());
    // Each learning may begin ahead of the one before, as it looks farther back after failed ones.
    std::sort(m_result.relearnedSeconds.begin(), m_result.relearnedSeconds.end());
    FinishBeats();
    for (std::vector<Span>& spans : m_result.off)
        if (!spans.empty()) spans.back().toSeconds = std::min(spans.back().toSeconds, m_result.seconds);
    if (m_result.interrupted)
        m_result.warnings.push_back("interrupted after " + Clock(m_result.seconds) +
                                    " min:s: the rest of the recording is not analysed");
    if (m_result.mainsHz != 0 && m_measuredMainsHz != 0 && m_measuredMainsHz != m_result.mainsHz)
        m_result.warnings.push_back("the mains are of " + std::to_string(m_measuredMainsHz) + " Hz, but " +
                                    std::to_string(m_result.mainsHz) + " Hz is taken out");
    WarnOfBadLeads("off", m_result.off);
    WarnOfBadLeads("disturbed by jumps of the baseline", m_result.disturbed);
    for (std::string& text : DescribeHoles(m_result, FindHoles(m_result)))
        m_result.warnings.push_back(std::move(text));
    WarnOfPoorSignal();
    if (m_chn == 1)
        m_result.warnings.emplace_back("one lead only: without a second one noise cannot be told from beats");
    for (std::string& warning : m_source.Warnings()) m_result.warnings.push_back(std::move(warning));
    if (m_result.beats.empty() && !m_notLearned)
        m_result.warnings.emplace_back("no beat matched the averaged one: there are no ST values");
    else if (!m_notLearned && 2 * m_result.beats.size() < m_result.beatsFound.size())
        m_result.warnings.push_back("only " + std::to_string(m_result.beats.size()) + " of " +
                                    std::to_string(m_result.beatsFound.size()) +
                                    " beats match the averaged one; ST values may be off");
}
