#include "host/StressEngine.h"

#include <algorithm>
#include <numeric>

#include "api/qzStressECGLib.h"
#include "host/SignalConditioner.h"

namespace {

constexpr int kQBeforeMs = 12;  // the engine's Q lies this long before the onset

// The PR level: the mean from 8 ms before to 4 ms after the engine's Q.
constexpr int kPrBeforeMs = 8;
constexpr int kPrAfterMs = 4;

// The engine's own smoothing of ST levels, so that what is added to them is as late as they are.
constexpr double kSmootherCorner = 5.0;
constexpr int kSmootherRate = 100;

// An upright lead is preferred over an inverted one unless its R stands out less than half as much.
constexpr double kPreferUpright = 0.5;

constexpr double kMsPerSecond = 1000.0;

}  // namespace

StressEngine::StressEngine(int fs, std::size_t chn, int postJms)
    : m_fs(fs), m_chn(chn), m_postJms(postJms), m_order(chn), m_frame(chn) {}

StressEngine::~StressEngine() { qzStressECGLib_destroy(); }

bool StressEngine::Reaches(const LearnedBeat& beat) const {
    return beat.posJ + Samples(kSTOffsetMs) + Samples(m_postJms) < beat.length;
}

void StressEngine::Start(const LearnedBeat& beat) {
    OrderLeads(beat);
    qzStressECGLib_create(static_cast<short>(m_fs), static_cast<short>(m_chn), SignalConditioner::kUvPerUnit);
    m_zeroSmoothers.assign(m_chn, CLowpassFilter2(kSmootherCorner, kSmootherRate));
    m_bSmoothersPrimed = false;

    std::vector<std::vector<short>> rows;
    std::vector<short*> templ;
    for (const std::size_t lead : m_order) rows.push_back(beat.rows[lead]);
    if (m_bLastInverted) {
        for (short& sample : rows.back()) sample = static_cast<short>(-sample);
    }
    for (std::vector<short>& row : rows) templ.push_back(row.data());
    short length = beat.length;
    qzStressECGLib_InitTempl(templ.data(), length, beat.posQ, beat.posJ, static_cast<short>(m_postJms));
    short postJms = 0;
    m_length = qzStressECGLib_GetPos(m_posR, m_posQ, m_posJ, postJms);
    std::fill(m_frame.begin(), m_frame.end(), short{0});
    for (int i = 0; i < m_length; ++i) qzStressECGLib_match(m_frame.data());
}

void StressEngine::OrderLeads(const LearnedBeat& beat) {
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
    std::iota(m_order.begin(), m_order.end(), std::size_t{0});
    const std::size_t decisive = m_bLastInverted ? inverted : upright;
    m_order.erase(m_order.begin() + static_cast<std::ptrdiff_t>(decisive));
    m_order.push_back(decisive);
}

bool StressEngine::Match(const short* frame, STReading& reading) {
    for (std::size_t c = 0; c < m_chn; ++c) m_frame[c] = frame[m_order[c]];
    if (m_bLastInverted) m_frame.back() = static_cast<short>(-m_frame.back());
    short** templ = qzStressECGLib_match(m_frame.data());
    if (templ == nullptr) return false;

    const short* levels = qzStressECGLib_uvSTvalue();
    const float* slopes = qzStressECGLib_STslope();
    const STresult* results = qzStressECGLib_STresults(0);
    reading.levelUv.resize(m_chn);
    reading.slopeUvPerMs.resize(m_chn);
    const int prFrom = std::max(0, m_posQ - Samples(kPrBeforeMs));
    const int prTo = m_posQ + Samples(kPrAfterMs);
    const int jPoint = m_posJ + Samples(kSTOffsetMs);
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double prUv = SignalConditioner::kUvPerUnit *
                            std::accumulate(templ[c] + prFrom, templ[c] + prTo + 1, 0.0) /
                            (prTo - prFrom + 1);
        const double jUv = SignalConditioner::kUvPerUnit * templ[c][jPoint];
        const double engineZeroUv = jUv - results[c].JuV;
        if (!m_bSmoothersPrimed) m_zeroSmoothers[c].InitialValue(engineZeroUv - prUv);
        const double missedUv = m_zeroSmoothers[c].Filter(engineZeroUv - prUv);
        reading.levelUv[m_order[c]] = Sign(c) * static_cast<float>(levels[c] + missedUv);
        reading.slopeUvPerMs[m_order[c]] = Sign(c) * slopes[c];
    }
    m_bSmoothersPrimed = true;
    return true;
}

std::vector<std::vector<float>> StressEngine::BeatUv() const {
    std::vector<std::vector<float>> rows(m_chn);
    short** templ = qzStressECGLib_getTempl();
    for (std::size_t c = 0; c < m_chn; ++c) {
        const float uVpb = Sign(c) * static_cast<float>(SignalConditioner::kUvPerUnit);
        for (int i = 0; i < m_length; ++i) rows[m_order[c]].push_back(uVpb * static_cast<float>(templ[c][i]));
    }
    return rows;
}

BeatPositionsMs StressEngine::Positions() const {
    const double msPerSample = kMsPerSecond / m_fs;
    return {m_length * msPerSample, (m_posQ + Samples(kQBeforeMs)) * msPerSample, m_posR * msPerSample,
            m_posJ * msPerSample};
}
