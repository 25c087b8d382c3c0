#include "host/StressAnalysis.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "api/qzStressECGLib.h"
#include "host/HostError.h"
#include "host/Text.h"

namespace {

constexpr int kFirstStretchSeconds = 10;    // learning is first tried on this much signal,
constexpr int kMoreSeconds = 5;             // then on this much more each time,
constexpr int kLongestStretchSeconds = 60;  // up to this
constexpr int kRateRunInSeconds = 4;        // played to the heart-rate detectors first

constexpr int kNoMatchSeconds = 30;           // without a matched beat, one is learned from that stretch
constexpr int kFirstRelearnWaitSeconds = 10;  // from a failed attempt to the next, twice as long each time
constexpr int kLongestRelearnWaitSeconds = 320;

// What happens to a lead so much later than an R, or so much before it, changes the beat: the ST segment is
// part of it, and the filter that takes out mains and drift reaches far.
constexpr double kReachAheadSeconds = 1.2;
constexpr double kReachBackSeconds = 1.5;
// The engine folds about a tenth of each beat in: so many after a bad one less than 1 % of it is left.
constexpr int kBeatsToTrust = 50;

constexpr int kMostLeads = 64;
constexpr int kEarliestPostJms = 10;
constexpr int kLatestPostJms = 200;
constexpr double kMsPerSecond = 1000.0;
constexpr double kMsPerMinute = 60000.0;

void CheckBeat(const SourceInfo& source, const LearnedBeat& beat) {
    const auto refuse = [&](const std::string& why) {
        throw HostError(source.name, "the averaged beat that was handed in " + why);
    };
    const std::size_t chn = source.leads.size();
    if (beat.rows.size() != chn || beat.usable.size() != chn)
        refuse("has " + std::to_string(beat.rows.size()) + " leads, not " + std::to_string(chn));
    for (const std::vector<short>& row : beat.rows) {
        if (row.size() != static_cast<std::size_t>(std::max<int>(beat.length, 0)))
            refuse("has rows of different lengths");
    }
    if (beat.posQ < 0 || beat.posJ <= beat.posQ || beat.posJ >= beat.length)
        refuse("does not have Q before J within its " + std::to_string(beat.length) + " samples");
    const double qrsMs = (beat.posJ - beat.posQ) * kMsPerSecond / source.fs;
    if (qrsMs < BeatLearner::kNarrowestQrsMs || qrsMs > BeatLearner::kWidestQrsMs)
        refuse("is not from a recording at " + std::to_string(source.fs) + " Hz: its QRS would last " +
               std::to_string(std::lround(qrsMs)) + " ms");
}

const SourceInfo& Checked(const SourceInfo& source, const StressOptions& options) {
    if (source.leads.empty() || source.leads.size() > static_cast<std::size_t>(kMostLeads))
        throw HostError(source.name, "needs 1 to " + std::to_string(kMostLeads) + " leads, has " +
                                         std::to_string(source.leads.size()));
    if (options.postJms < kEarliestPostJms || options.postJms > kLatestPostJms)
        throw HostError(source.name, "ST must be measured " + std::to_string(kEarliestPostJms) + " to " +
                                         std::to_string(kLatestPostJms) + " ms after J, not " +
                                         std::to_string(options.postJms));
    if (options.beat != nullptr) CheckBeat(source, *options.beat);
    return source;
}

}  // namespace

StressAnalysis::StressAnalysis(FrameSource& source, const StressOptions& options,
                               std::vector<AnalysisObserver*> observers)
    : m_source(source),
      m_options(options),
      m_observers(std::move(observers)),
      m_conditioner(Checked(source.Info(), options), options.conditioner),
      m_strips(source.Info(), options.stripSeconds),
      m_engine(source.Info().fs, source.Info().leads.size(), options.postJms),
      m_watch(source.Info()),
      m_fs(source.Info().fs),
      m_chn(source.Info().leads.size()),
      m_raw(m_chn),
      m_conditioned(m_chn),
      m_off(m_chn),
      m_beatsToTrust(m_chn) {
    m_result.farthest.resize(m_chn);
}

StressResult StressAnalysis::Run() {
    m_result.source = m_source.Info();
    m_result.conditioning = m_conditioner.Description();
    m_result.delayMs = m_conditioner.DelaySamples() * kMsPerSecond / m_fs;
    m_result.postJms = m_options.postJms;

    while (m_framesOut < m_conditioner.SettlingSamples() && ReadConditioned()) {
    }
    const long long stretchStart = m_framesOut;
    Learn();
    Start();
    for (std::size_t i = 0; i < m_stretch.size() / m_chn; ++i)
        Match(m_stretch.data() + i * m_chn, stretchStart + static_cast<long long>(i));
    if (m_options.relearn) KeepForRelearning();
    std::vector<short>().swap(m_stretch);
    while (ReadConditioned()) {
        Match(m_conditioned.data(), m_framesOut - 1);
        if (m_options.relearn) Relearn();
    }
    if (!m_bRateStarted) StartRate();
    Finish();
    return std::move(m_result);
}

// The next conditioned frame. After the end of the source, or where an observer has asked for an end, the
// last frame is repeated until the filters have given out everything.
bool StressAnalysis::ReadConditioned() {
    if (m_framesOut == m_framesRead && IsStopped()) m_result.interrupted = true;
    if (m_framesOut == m_framesRead && !m_result.interrupted && m_source.Read(m_conditioned.data())) {
        m_raw = m_conditioned;
        ++m_framesRead;
        m_strips.TakeRaw(m_raw.data());
        for (AnalysisObserver* observer : m_observers) observer->OnFrame(m_raw.data());
        if (m_watch.Take(m_raw.data())) FollowLeads();
    } else if (m_framesRead == 0 || m_framesOut >= m_framesRead + m_conditioner.DelaySamples()) {
        return false;
    }
    m_conditioner.Process(m_raw.data(), m_conditioned.data());
    for (std::size_t lead = 0; lead < m_chn; ++lead)
        if (m_conditioner.IsLost(lead)) m_watch.Disturb(lead);
    const long long index = m_framesOut++;
    const long long shown = index - m_conditioner.DelaySamples();
    if (shown >= 0) {
        m_strips.TakeClean(m_conditioned.data(), shown);
        for (AnalysisObserver* observer : m_observers)
            observer->OnConditioned(m_conditioned.data(), SourceSeconds(index));
    }
    if (index >= m_conditioner.SettlingSamples()) FollowRate();
    return true;
}

bool StressAnalysis::IsStopped() const {
    return std::any_of(m_observers.begin(), m_observers.end(),
                       [](AnalysisObserver* observer) { return observer->Stop(); });
}

// The detectors take two seconds to find their threshold and a beat more to answer: they are shown the first
// seconds once before, so that these are not lost.
void StressAnalysis::FollowRate() {
    if (m_bRateStarted) {
        TakeRate(m_conditioned.data(), m_framesOut - 1);
        return;
    }
    m_rateRunIn.insert(m_rateRunIn.end(), m_conditioned.begin(), m_conditioned.end());
    if (m_rateRunIn.size() ==
        static_cast<std::size_t>(kRateRunInSeconds) * static_cast<std::size_t>(m_fs) * m_chn)
        StartRate();
}

void StressAnalysis::StartRate() {
    qzStressECGLib_InitMultiMeanRRms(static_cast<short>(m_fs), static_cast<short>(m_chn), 0,
                                     SignalConditioner::kUvPerUnit);
    m_bRateStarted = true;
    // Of the first two answers after the run-in one belongs to its last beat, the other to the false interval
    // from there to the first beat that is shown again.
    m_answersToSkip = 2;
    const std::size_t frames = m_rateRunIn.size() / m_chn;
    for (std::size_t i = 0; i < frames; ++i) qzStressECGLib_MultiMeanRRms(m_rateRunIn.data() + i * m_chn);
    const long long first = m_framesOut - static_cast<long long>(frames);
    for (std::size_t i = 0; i < frames; ++i)
        TakeRate(m_rateRunIn.data() + i * m_chn, first + static_cast<long long>(i));
    std::vector<short>().swap(m_rateRunIn);
}

void StressAnalysis::TakeRate(short* conditioned, long long index) {
    const short rrMs = qzStressECGLib_MultiMeanRRms(conditioned);
    if (rrMs < 0) return;
    m_result.beatsFound.push_back(SourceSeconds(index));
    ++m_foundSinceMatch;
    if (m_answersToSkip > 0) {
        --m_answersToSkip;
    } else if (rrMs > 0) {
        m_result.rates.push_back({SourceSeconds(index), kMsPerMinute / rrMs});
        for (AnalysisObserver* observer : m_observers) observer->OnRate(m_result.rates.back());
    }
}

void StressAnalysis::Learn() {
    if (m_options.beat != nullptr) {
        m_result.learned = *m_options.beat;
        return;
    }
    const BeatLearner learner(m_fs, static_cast<int>(m_chn));
    std::optional<LearnedBeat> learned;
    bool more = true;
    for (int seconds = kFirstStretchSeconds; more && seconds <= kLongestStretchSeconds;
         seconds += kMoreSeconds) {
        const std::size_t wanted = static_cast<std::size_t>(seconds) * static_cast<std::size_t>(m_fs) * m_chn;
        while (more && m_stretch.size() < wanted) {
            more = ReadConditioned();
            if (more) m_stretch.insert(m_stretch.end(), m_conditioned.begin(), m_conditioned.end());
        }
        if (std::optional<LearnedBeat> better = learner.Learn(m_stretch)) learned = std::move(better);
        if (learned && learned->confident) break;
    }
    const std::string& name = m_source.Info().name;
    if (!learned && m_result.interrupted)
        throw HostError(name, "interrupted before an averaged beat was learned");
    if (!learned)
        throw HostError(name, "not enough beats to learn from: the first " +
                                  std::to_string(m_stretch.size() / m_chn / static_cast<std::size_t>(m_fs)) +
                                  " s have fewer than " + std::to_string(BeatLearner::kFewestBeats) +
                                  " clean ones that are alike");
    learned->record = name;
    if (!learned->confident)
        m_result.warnings.push_back("the averaged beat is learned from " +
                                    std::to_string(learned->beatsUsed) + " beats with a likeness of " +
                                    std::to_string(learned->likeness).substr(0, 4) +
                                    "; ST values may be off");
    m_result.learned = std::move(*learned);
}

void StressAnalysis::Start() {
    if (!m_engine.Reaches(m_result.learned))
        throw HostError(m_source.Info().name, "at this heart rate ST cannot be measured " +
                                                  std::to_string(m_options.postJms) +
                                                  " ms after J: the averaged beat ends before");
    m_engine.Start(m_result.learned);
    m_result.positions = m_engine.Positions();
    m_result.firstBeatUv = m_engine.BeatUv();
}

void StressAnalysis::Match(const short* conditioned, long long index) {
    STReading reading;
    if (!m_engine.Match(conditioned, reading)) return;
    reading.seconds = SourceSeconds(index - m_engine.SamplesSinceR());
    reading.bpm = RateAt(reading.seconds);
    LeaveOutBadLeads(reading);
    KeepFarthest(reading);
    m_result.beats.push_back(std::move(reading));
    for (AnalysisObserver* observer : m_observers) observer->OnBeat(m_result.beats.back());
    m_foundSinceMatch = 0;
    m_relearnDue = index + static_cast<long long>(kNoMatchSeconds) * m_fs;
    m_relearnWait = static_cast<long long>(kFirstRelearnWaitSeconds) * m_fs;
}

// That a lead is off is known two seconds late: what was read of it since is taken back.
void StressAnalysis::FollowLeads() {
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        if (m_watch.IsOff(lead) == m_off[lead]) continue;
        m_off[lead] = m_watch.IsOff(lead);
        const Span& span = m_watch.Off(lead).back();
        for (AnalysisObserver* observer : m_observers)
            observer->OnLead(lead, m_off[lead], m_off[lead] ? span.fromSeconds : span.toSeconds);
        if (!m_off[lead]) continue;
        for (auto beat = m_result.beats.rbegin(); beat != m_result.beats.rend(); ++beat) {
            if (beat->seconds + kReachAheadSeconds < span.fromSeconds) break;
            beat->levelUv[lead] = beat->slopeUvPerMs[lead] = std::numeric_limits<float>::quiet_NaN();
            m_beatsToTrust[lead] = kBeatsToTrust;
        }
    }
}

void StressAnalysis::LeaveOutBadLeads(STReading& reading) {
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        if (!m_watch.IsGood(lead,
                            {reading.seconds - kReachBackSeconds, reading.seconds + kReachAheadSeconds}))
            m_beatsToTrust[lead] = kBeatsToTrust;
        if (m_beatsToTrust[lead] == 0) continue;
        --m_beatsToTrust[lead];
        reading.levelUv[lead] = reading.slopeUvPerMs[lead] = std::numeric_limits<float>::quiet_NaN();
    }
}

void StressAnalysis::KeepFarthest(const STReading& reading) {
    if (m_firstLevelsUv.empty()) {
        if (m_result.beats.empty() || reading.seconds <= m_result.beats.front().seconds + kFirstSeconds)
            return;
        m_firstLevelsUv = FirstMedians(m_result, &STReading::levelUv);
    }
    std::vector<std::vector<float>> beats;
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        FarthestBeat& farthest = m_result.farthest[lead];
        const double changeUv = reading.levelUv[lead] - m_firstLevelsUv[lead];
        if (!(std::abs(changeUv) > std::abs(farthest.changeUv))) continue;
        if (beats.empty()) beats = BeatsAtFirstPositions();
        farthest = {changeUv, reading.seconds, beats[lead]};
    }
}

// A beat learned later may be of another length: it is put where its J is that of the first.
std::vector<std::vector<float>> StressAnalysis::BeatsAtFirstPositions() const {
    std::vector<std::vector<float>> beats = m_engine.BeatUv();
    const long shift = std::lround((m_engine.Positions().j - m_result.positions.j) * m_fs / kMsPerSecond);
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        const std::vector<float> row = std::exchange(beats[lead], {});
        for (long i = 0; i < static_cast<long>(m_result.firstBeatUv[lead].size()); ++i)
            beats[lead].push_back(
                row[static_cast<std::size_t>(std::clamp(i + shift, 0L, static_cast<long>(row.size()) - 1))]);
    }
    return beats;
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
    if (!text.empty())
        m_result.warnings.push_back(what + ": " + text + "; no ST of these leads until " +
                                    std::to_string(kBeatsToTrust) + " beats after");
}

// Fills the ring with the end of the learning stretch.
void StressAnalysis::KeepForRelearning() {
    const long long kept = static_cast<long long>(kNoMatchSeconds) * m_fs;
    const auto have = static_cast<long long>(m_stretch.size() / m_chn);
    m_latest.resize(static_cast<std::size_t>(kept) * m_chn);
    for (long long i = std::max(0LL, have - kept); i < have; ++i)
        std::copy_n(m_stretch.begin() + i * static_cast<long long>(m_chn), m_chn,
                    m_latest.begin() + (m_framesOut - have + i) % kept * static_cast<long long>(m_chn));
    m_relearnDue = std::max(m_relearnDue, m_framesOut - have + kept);
    m_relearnWait = static_cast<long long>(kFirstRelearnWaitSeconds) * m_fs;
}

// Keeps the frame just matched, and learns again where that is due.
void StressAnalysis::Relearn() {
    const long long kept = static_cast<long long>(kNoMatchSeconds) * m_fs;
    const auto chn = static_cast<long long>(m_chn);
    const long long index = m_framesOut - 1;
    std::copy_n(m_conditioned.begin(), m_chn, m_latest.begin() + index % kept * chn);
    if (index < m_relearnDue || m_foundSinceMatch < BeatLearner::kConfidentBeats) return;

    std::vector<short> stretch = m_latest;
    std::rotate(stretch.begin(), stretch.begin() + (index + 1) % kept * chn, stretch.end());
    const std::optional<LearnedBeat> beat = BeatLearner(m_fs, static_cast<int>(m_chn)).Learn(stretch);
    if (!beat || !beat->confident || !m_engine.Reaches(*beat)) {
        m_relearnDue = index + m_relearnWait;
        m_relearnWait =
            std::min(2 * m_relearnWait, static_cast<long long>(kLongestRelearnWaitSeconds) * m_fs);
        return;
    }
    const long long first = index + 1 - kept;
    m_engine.Start(*beat);
    m_result.relearnedSeconds.push_back(SourceSeconds(first));
    m_relearnDue = index + kept;
    for (long long i = 0; i < kept; ++i) Match(stretch.data() + i * chn, first + i);
}

void StressAnalysis::Finish() {
    m_result.seconds = static_cast<double>(m_framesRead) / m_fs;
    m_result.strips = m_strips.Finish();
    m_result.latestBeatUv = BeatsAtFirstPositions();
    // Of readings that were taken back, and of a larger change within the first half minute, there is no
    // beat.
    const std::vector<LeadSummary> leads = SummarizeLeads(m_result);
    for (std::size_t lead = 0; lead < leads.size(); ++lead)
        if (m_result.farthest[lead].seconds != leads[lead].seconds) m_result.farthest[lead] = {};
    for (std::size_t lead = 0; lead < m_chn; ++lead) {
        m_result.off.push_back(m_watch.Off(lead));
        m_result.disturbed.push_back(m_watch.Disturbed(lead));
        if (m_off[lead]) m_result.off[lead].back().toSeconds = m_result.seconds;
    }
    if (m_result.interrupted)
        m_result.warnings.push_back("interrupted after " + Clock(m_result.seconds) +
                                    " min:s: the rest of the recording is not analysed");
    else if (const std::size_t missing = m_options.stripSeconds.size() - m_result.strips.size(); missing > 0)
        m_result.warnings.push_back(std::to_string(missing) +
                                    (missing == 1 ? " strip begins" : " strips begin") +
                                    " after the end of the recording");
    WarnOfBadLeads("off", m_result.off);
    WarnOfBadLeads("disturbed by jumps of the baseline", m_result.disturbed);
    if (m_chn == 1)
        m_result.warnings.emplace_back("one lead only: without a second one noise cannot be told from beats");
    for (std::string& warning : m_source.Warnings()) m_result.warnings.push_back(std::move(warning));
    if (m_result.beats.empty())
        m_result.warnings.emplace_back("no beat matched the averaged one: there are no ST values");
    else if (2 * m_result.beats.size() < m_result.beatsFound.size())
        m_result.warnings.push_back("only " + std::to_string(m_result.beats.size()) + " of " +
                                    std::to_string(m_result.beatsFound.size()) +
                                    " heart-rate intervals have a beat that matched; ST values may be off");
}

// The heart rate shown at a time, NaN before the first.
double StressAnalysis::RateAt(double seconds) const {
    const auto after =
        std::upper_bound(m_result.rates.begin(), m_result.rates.end(), seconds,
                         [](double time, const RateReading& rate) { return time < rate.seconds; });
    return after == m_result.rates.begin() ? std::numeric_limits<double>::quiet_NaN() : (after - 1)->bpm;
}

double StressAnalysis::SourceSeconds(long long index) const {
    return static_cast<double>(index - m_conditioner.DelaySamples()) / m_fs;
}
