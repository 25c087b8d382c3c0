#include "host/StressAnalysis.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "api/qzStressECGLib.h"
#include "host/HostError.h"

namespace {

constexpr int kFirstStretchSeconds = 10;    // learning is first tried on this much signal,
constexpr int kMoreSeconds = 5;             // then on this much more each time,
constexpr int kLongestStretchSeconds = 60;  // up to this
constexpr int kRateRunInSeconds = 4;        // played to the heart-rate detectors first
constexpr int kMostLeads = 64;
constexpr int kEarliestPostJms = 10;
constexpr int kLatestPostJms = 200;
constexpr int kJOffsetMs = 6;  // the engine's J level is read this long after J

// The PR level: the mean from 8 ms before to 4 ms after the engine's Q, which lies 12 ms before the onset.
constexpr int kPrBeforeMs = 8;
constexpr int kPrAfterMs = 4;

// The engine's own smoothing of ST levels, so that what is added to them is as late as they are.
constexpr double kSmootherCorner = 5.0;
constexpr int kSmootherRate = 100;

// An upright lead is preferred over an inverted one unless its R stands out less than half as much.
constexpr double kPreferUpright = 0.5;

constexpr double kMsPerSecond = 1000.0;
constexpr double kMsPerMinute = 60000.0;

const SourceInfo& Checked(const SourceInfo& source, const StressOptions& options) {
    if (source.leads.empty() || source.leads.size() > static_cast<std::size_t>(kMostLeads))
        throw HostError(source.name, "needs 1 to " + std::to_string(kMostLeads) + " leads, has " +
                                         std::to_string(source.leads.size()));
    if (options.postJms < kEarliestPostJms || options.postJms > kLatestPostJms)
        throw HostError(source.name, "ST must be measured " + std::to_string(kEarliestPostJms) + " to " +
                                         std::to_string(kLatestPostJms) + " ms after J, not " +
                                         std::to_string(options.postJms));
    return source;
}

}  // namespace

StressAnalysis::StressAnalysis(FrameSource& source, const StressOptions& options)
    : m_source(source),
      m_options(options),
      m_conditioner(Checked(source.Info(), options), options.conditioner),
      m_chn(source.Info().leads.size()),
      m_raw(m_chn),
      m_conditioned(m_chn),
      m_order(m_chn),
      m_engineFrame(m_chn) {
    std::iota(m_order.begin(), m_order.end(), std::size_t{0});
}

StressAnalysis::~StressAnalysis() { qzStressECGLib_destroy(); }

StressResult StressAnalysis::Run() {
    const SourceInfo& info = m_source.Info();
    m_result.source = info;
    m_result.conditioning = m_conditioner.Description();
    m_result.delayMs = m_conditioner.DelaySamples() * kMsPerSecond / info.fs;
    m_result.postJms = m_options.postJms;

    while (m_framesOut < m_conditioner.SettlingSamples() && ReadConditioned()) {
    }
    const long long stretchStart = m_framesOut;
    Learn();
    OrderLeads();
    StartEngine();
    for (std::size_t i = 0; i < m_stretch.size() / m_chn; ++i)
        Feed(m_stretch.data() + i * m_chn, stretchStart + static_cast<long long>(i));
    std::vector<short>().swap(m_stretch);
    while (ReadConditioned()) Feed(m_conditioned.data(), m_framesOut - 1);

    m_result.seconds = static_cast<double>(m_framesRead) / info.fs;
    if (m_chn == 1)
        m_result.warnings.emplace_back("one lead only: without a second one noise cannot be told from beats");
    for (std::string& warning : m_source.Warnings()) m_result.warnings.push_back(std::move(warning));
    if (m_conditioner.ClippedSamples() > 0)
        m_result.warnings.push_back(std::to_string(m_conditioner.ClippedSamples()) +
                                    " samples were beyond 15 mV of their lead's first and were held there");
    if (2 * m_result.beats.size() < m_result.beatsFound.size())
        m_result.warnings.push_back("only " + std::to_string(m_result.beats.size()) + " of " +
                                    std::to_string(m_result.beatsFound.size()) +
                                    " heart-rate intervals have a beat that matched; ST values may be off");
    return std::move(m_result);
}

// The next conditioned frame. After the end of the source its last frame is repeated until the filters have
// given out everything.
bool StressAnalysis::ReadConditioned() {
    if (m_framesOut == m_framesRead && m_source.Read(m_conditioned.data())) {
        m_raw = m_conditioned;
        ++m_framesRead;
    } else if (m_framesRead == 0 || m_framesOut >= m_framesRead + m_conditioner.DelaySamples()) {
        return false;
    }
    m_conditioner.Process(m_raw.data(), m_conditioned.data());
    ++m_framesOut;
    return true;
}

void StressAnalysis::Learn() {
    const int fs = m_source.Info().fs;
    const BeatLearner learner(fs, static_cast<int>(m_chn));
    std::optional<LearnedBeat> learned;
    bool more = true;
    for (int seconds = kFirstStretchSeconds; more && seconds <= kLongestStretchSeconds;
         seconds += kMoreSeconds) {
        const std::size_t wanted = static_cast<std::size_t>(seconds) * static_cast<std::size_t>(fs) * m_chn;
        while (more && m_stretch.size() < wanted) {
            more = ReadConditioned();
            if (more) m_stretch.insert(m_stretch.end(), m_conditioned.begin(), m_conditioned.end());
        }
        if (std::optional<LearnedBeat> better = learner.Learn(m_stretch)) learned = std::move(better);
        if (learned && learned->confident) break;
    }
    const std::size_t learnedFrames = m_stretch.size() / m_chn;
    m_result.learnedFromSeconds = static_cast<double>(learnedFrames) / fs;
    if (!learned)
        throw HostError(m_source.Info().name,
                        "not enough beats to learn from: the first " +
                            std::to_string(std::lround(m_result.learnedFromSeconds)) + " s have fewer than " +
                            std::to_string(BeatLearner::kFewestBeats) + " clean ones that are alike");
    if (!learned->confident)
        m_result.warnings.push_back("the averaged beat is learned from " +
                                    std::to_string(learned->beatsUsed) + " beats with a likeness of " +
                                    std::to_string(learned->likeness).substr(0, 4) +
                                    "; ST values may be off");
    m_result.learned = std::move(*learned);
}

void StressAnalysis::OrderLeads() {
    const LearnedBeat& beat = m_result.learned;
    double bestUpright = 0, bestInverted = 0;
    std::size_t upright = 0, inverted = 0;
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (!beat.usable[c]) continue;
        const auto first = beat.rows[c].begin() + beat.posQ;
        const auto last = beat.rows[c].begin() + beat.posJ;
        const auto [lowest, highest] = std::minmax_element(first, last + 1);
        const double standsOut = *highest - std::max(*first, *last);
        const double hangsDown = std::min(*first, *last) - *lowest;
        if (standsOut > bestUpright) {
            bestUpright = standsOut;
            upright = c;
        }
        if (hangsDown > bestInverted) {
            bestInverted = hangsDown;
            inverted = c;
        }
    }
    m_bLastInverted = bestUpright < kPreferUpright * bestInverted;
    const std::size_t decisive = m_bLastInverted ? inverted : upright;
    m_order.erase(m_order.begin() + static_cast<std::ptrdiff_t>(decisive));
    m_order.push_back(decisive);
}

void StressAnalysis::StartEngine() {
    const int fs = m_source.Info().fs;
    const auto chn = static_cast<short>(m_chn);
    qzStressECGLib_InitMultiMeanRRms(static_cast<short>(fs), chn, 0, SignalConditioner::kUvPerUnit);
    qzStressECGLib_create(static_cast<short>(fs), chn, SignalConditioner::kUvPerUnit);
    m_zeroSmoothers.assign(m_chn, CLowpassFilter2(kSmootherCorner, kSmootherRate));

    const LearnedBeat& beat = m_result.learned;
    std::vector<std::vector<short>> rows;
    std::vector<short*> templ;
    for (const std::size_t lead : m_order) rows.push_back(beat.rows[lead]);
    if (m_bLastInverted) {
        for (short& sample : rows.back()) sample = static_cast<short>(-sample);
    }
    for (std::vector<short>& row : rows) templ.push_back(row.data());
    short length = beat.length;
    qzStressECGLib_InitTempl(templ.data(), length, beat.posQ, beat.posJ,
                             static_cast<short>(m_options.postJms));
    short postJms = 0;
    m_templLen = qzStressECGLib_GetPos(m_posR, m_posQ, m_posJ, postJms);
    if (m_posJ + kJOffsetMs * fs / 1000 + m_options.postJms * fs / 1000 >= m_templLen)
        throw HostError(m_source.Info().name, "at this heart rate ST cannot be measured " +
                                                  std::to_string(m_options.postJms) +
                                                  " ms after J: the averaged beat ends before");
    const double msPerSample = kMsPerSecond / fs;
    // The engine may have cut the row's start: Q has moved with J.
    m_result.positions = {m_templLen * msPerSample, (beat.posQ + m_posJ - beat.posJ) * msPerSample,
                          m_posR * msPerSample, m_posJ * msPerSample};

    std::fill(m_engineFrame.begin(), m_engineFrame.end(), short{0});
    for (int i = 0; i < m_templLen; ++i) qzStressECGLib_match(m_engineFrame.data());

    // The detectors take two seconds to find their threshold and a beat more to answer: they are shown the
    // start of the stretch once before, so that it is not lost. The next two answers are then the last
    // interval of this run-in and the false one to the first beat after it.
    const std::size_t runIn =
        std::min(m_stretch.size() / m_chn, static_cast<std::size_t>(kRateRunInSeconds * fs));
    for (std::size_t i = 0; i < runIn; ++i) qzStressECGLib_MultiMeanRRms(m_stretch.data() + i * m_chn);
    m_answersToSkip = 2;
}

void StressAnalysis::Feed(const short* conditioned, long long index) {
    m_engineFrame.assign(conditioned, conditioned + m_chn);
    const short rrMs = qzStressECGLib_MultiMeanRRms(m_engineFrame.data());
    if (rrMs >= 0) m_result.beatsFound.push_back(InputSeconds(index));
    if (rrMs >= 0 && m_answersToSkip > 0) {
        --m_answersToSkip;
    } else if (rrMs > 0) {
        m_result.rates.push_back({InputSeconds(index), kMsPerMinute / rrMs});
    }
    for (std::size_t c = 0; c < m_chn; ++c) m_engineFrame[c] = conditioned[m_order[c]];
    if (m_bLastInverted) m_engineFrame.back() = static_cast<short>(-m_engineFrame.back());
    if (short** templ = qzStressECGLib_match(m_engineFrame.data())) Measure(templ, index);
}

void StressAnalysis::Measure(short** templ, long long index) {
    const int fs = m_source.Info().fs;
    const short* levels = qzStressECGLib_uvSTvalue();
    const float* slopes = qzStressECGLib_STslope();
    const STresult* results = qzStressECGLib_STresults(0);

    STReading reading;
    reading.seconds = InputSeconds(index - (m_templLen - 1 - m_posR));
    reading.levelUv.resize(m_chn);
    reading.slopeUvPerMs.resize(m_chn);
    const int prFrom = std::max(0, m_posQ - kPrBeforeMs * fs / 1000);
    const int prTo = m_posQ + kPrAfterMs * fs / 1000;
    const int jPoint = m_posJ + kJOffsetMs * fs / 1000;
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double prUv = SignalConditioner::kUvPerUnit *
                            std::accumulate(templ[c] + prFrom, templ[c] + prTo + 1, 0.0) /
                            (prTo - prFrom + 1);
        const double jUv = SignalConditioner::kUvPerUnit * templ[c][jPoint];
        const double engineZeroUv = jUv - results[c].JuV;
        if (!m_bSmoothersPrimed) m_zeroSmoothers[c].InitialValue(engineZeroUv - prUv);
        const double missedUv = m_zeroSmoothers[c].Filter(engineZeroUv - prUv);
        const bool bInverted = m_bLastInverted && c + 1 == m_chn;
        const double sign = bInverted ? -1.0 : 1.0;
        reading.levelUv[m_order[c]] = static_cast<float>(sign * (levels[c] + missedUv));
        reading.slopeUvPerMs[m_order[c]] = static_cast<float>(sign * slopes[c]);
    }
    m_bSmoothersPrimed = true;
    m_result.beats.push_back(std::move(reading));
}

double StressAnalysis::InputSeconds(long long index) const {
    return static_cast<double>(index - m_conditioner.DelaySamples()) / m_source.Info().fs;
}
