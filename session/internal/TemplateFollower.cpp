#include "session/internal/TemplateFollower.h"

#include <algorithm>
#include <memory>
#include <numeric>
#include <utility>

#include "core/Arithmetic.h"
#include "core/stress/STtrend.h"
#include "session/internal/Units.h"

namespace qz {

namespace {

// The PR level: the mean from 8 ms before to 4 ms after the engine's Q.
constexpr int kPrBeforeMs = 8;
constexpr int kPrAfterMs = 4;

// An upright lead is preferred over an inverted one unless its R stands out less than half as much.
constexpr double kPreferUpright = 0.5;

}  // namespace

TemplateFollower::TemplateFollower(int fs, std::size_t chn, int postJms)
    : m_fs(fs), m_chn(chn), m_postJms(postJms), m_order(chn), m_frame(chn), m_levels(chn), m_slopes(chn) {}

bool TemplateFollower::Reaches(const LearnedBeat& beat) const {
    return beat.posQ - MsToSamples(TemplGeometry::kZeroWidthMs, m_fs) >= 1 &&
           beat.posJ + MsToSamples(kSTOffsetMs, m_fs) + MsToSamples(m_postJms, m_fs) < beat.length;
}

void TemplateFollower::Start(const LearnedBeat& beat) {
    m_match.reset();
    OrderLeads(beat);
    auto match = std::make_unique<CZatMatch>(static_cast<short>(m_fs), static_cast<short>(m_chn),
                                             kConditionedUvPerUnit, false, CZatMatch::kUsualWindowMs);
    for (std::vector<CLowpassFilter2>* smoothers : {&m_levelSmoothers, &m_slopeSmoothers, &m_zeroSmoothers})
        smoothers->assign(m_chn, CLowpassFilter2(kSTsmootherHz, kSTsmootherFs));
    m_areFirstLevels = m_areFirstSlopes = m_areFirstZeros = true;

    std::vector<std::vector<short>> rows;
    std::vector<short*> templ;
    for (const std::size_t lead : m_order) rows.push_back(beat.rows[lead]);
    if (m_isLastInverted) {
        for (short& sample : rows.back()) sample = static_cast<short>(-sample);
    }
    for (std::vector<short>& row : rows) templ.push_back(row.data());
    short length = beat.length, posQ = beat.posQ, posJ = beat.posJ;
    short posR = 0;  // the matcher places R itself
    match->InitTempl(templ.data(), length, posR, posQ, posJ, static_cast<short>(m_postJms));
    std::fill(m_frame.begin(), m_frame.end(), short{0});
    for (int i = 0; i < length; ++i) match->match(m_frame.data());
    m_match = std::move(match);
}

void TemplateFollower::OrderLeads(const LearnedBeat& beat) {
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
    m_isLastInverted = bestUpright < kPreferUpright * bestInverted;
    std::iota(m_order.begin(), m_order.end(), std::size_t{0});
    const std::size_t decisive = m_isLastInverted ? inverted : upright;
    m_order.erase(m_order.begin() + static_cast<std::ptrdiff_t>(decisive));
    m_order.push_back(decisive);
}

bool TemplateFollower::Match(const short* frame, BeatEvent& event) {
    for (std::size_t c = 0; c < m_chn; ++c) m_frame[c] = frame[m_order[c]];
    if (m_isLastInverted) m_frame.back() = static_cast<short>(-m_frame.back());
    short** templ = m_match->match(m_frame.data());
    if (templ == nullptr) return false;

    const STrecord* const records = m_match->STvalues(0);
    for (std::size_t c = 0; c < m_chn; ++c) {
        m_levels[c] = records[c].STuV;
        m_slopes[c] = records[c].STslope;
    }
    SmoothTrend(m_levels, m_levelSmoothers, m_areFirstLevels);
    SmoothTrend(m_slopes, m_slopeSmoothers, m_areFirstSlopes);
    const TemplGeometry& at = m_match->Geometry();
    const int prFrom = std::max(0, at.posQ - MsToSamples(kPrBeforeMs, m_fs));
    const int prTo = at.posQ + MsToSamples(kPrAfterMs, m_fs);
    for (std::size_t c = 0; c < m_chn; ++c) {
        const double prUv = kConditionedUvPerUnit *
                            std::accumulate(templ[c] + prFrom, templ[c] + prTo + 1, 0.0) /
                            (prTo - prFrom + 1);
        const double jUv = kConditionedUvPerUnit * templ[c][at.JPoint()];
        const double zeroUv = m_match->ZeroUv(static_cast<short>(c));
        if (m_areFirstZeros) m_zeroSmoothers[c].InitialValue(zeroUv - prUv);
        const double missedUv = m_zeroSmoothers[c].Filter(zeroUv - prUv);
        const std::size_t lead = m_order[c];
        event.levelUv[lead] = Sign(c) * static_cast<float>(m_levels[c] + missedUv);
        event.slopeUvPerMs[lead] = Sign(c) * m_slopes[c];
        event.jUv[lead] = Sign(c) * static_cast<float>(jUv - prUv);
    }
    m_areFirstZeros = false;
    return true;
}

std::vector<std::vector<float>> TemplateFollower::BeatUv() const {
    if (!HasBeat()) return {};
    std::vector<std::vector<float>> rows(m_chn);
    short** templ = m_match->Templ();
    for (std::size_t c = 0; c < m_chn; ++c) {
        const float uVpb = Sign(c) * static_cast<float>(kConditionedUvPerUnit);
        std::vector<float>& row = rows[m_order[c]];
        for (int i = 0; i < m_match->TemplLength(); ++i)
            row.push_back(uVpb * static_cast<float>(templ[c][i]));
    }
    return rows;
}

BeatPositionsMs TemplateFollower::Positions() const {
    if (!HasBeat()) return {};
    const TemplGeometry& at = m_match->Geometry();
    const double msPerSample = kMsPerSecond / m_fs;
    return {at.length * msPerSample, (at.posQ + at.zeroWidth) * msPerSample, at.posR * msPerSample,
            at.posJ * msPerSample};
}

}  // namespace qz
