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
constexpr int kPrFromMs = 8;
constexpr int kPrToMs = 4;

// An upright lead is preferred over an inverted one unless its R stands out less than half as much.
constexpr double kPreferUpright = 0.5;

}  // namespace

TemplateFollower::TemplateFollower(int fs, std::vector<std::size_t> leads, int postJms)
    : m_fs(fs), m_order(std::move(leads)), m_chn(m_order.size()), m_postJms(postJms), m_frame(m_chn) {}

bool TemplateFollower::Reaches(const LearnedBeat& beat, int fs, int postJms) {
    return beat.posQ - MsToSamples(TemplGeometry::kZeroWidthMs, fs) >= 1 &&
           beat.posJ + MsToSamples(kSTOffsetMs, fs) + MsToSamples(postJms, fs) < beat.length;
}

void TemplateFollower::Start(const LearnedBeat& beat) {
    m_match.reset();
    OrderLeads(beat);
    auto match = std::make_unique<CZatMatch>(static_cast<short>(m_fs), static_cast<short>(m_chn),
                                             kConditionedUvPerUnit, false, CZatMatch::kUsualWindowMs);
    for (std::vector<CLowpassFilter2>* smoothers : {&m_levelSmoothers, &m_slopeSmoothers, &m_zeroSmoothers})
        smoothers->assign(m_chn, CLowpassFilter2(kSTsmootherHz, kSTsmootherFs));
    m_areFirst.assign(m_chn, true);
    m_oldWeights.assign(m_chn, kUsualOldWeight);

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
    auto upright = m_order.begin(), inverted = m_order.begin();
    for (auto lead = m_order.begin(); lead != m_order.end(); ++lead) {
        const auto first = beat.rows[*lead].begin() + beat.posQ;
        const auto last = beat.rows[*lead].begin() + beat.posJ;
        const auto [lowest, highest] = std::minmax_element(first, last + 1);
        const double standsOut = *highest - std::max(*first, *last);
        const double hangsDown = std::min(*first, *last) - *lowest;
        if (standsOut > bestUpright) {
            bestUpright = standsOut;
            upright = lead;
        }
        if (hangsDown > bestInverted) {
            bestInverted = hangsDown;
            inverted = lead;
        }
    }
    m_isLastInverted = bestUpright < kPreferUpright * bestInverted;
    const auto decisive = m_isLastInverted ? inverted : upright;
    std::rotate(decisive, decisive + 1, m_order.end());
}

bool TemplateFollower::Match(const short* frame, BeatEvent& event) {
    for (std::size_t c = 0; c < m_chn; ++c) m_frame[c] = frame[m_order[c]];
    if (m_isLastInverted) m_frame.back() = static_cast<short>(-m_frame.back());
    short** templ = m_match->match(m_frame.data());
    if (templ == nullptr) return false;

    const STrecord* const records = m_match->STvalues(0);
    const TemplGeometry& at = m_match->Geometry();
    const int prFrom = std::max(0, at.posQ - MsToSamples(kPrFromMs, m_fs));
    const int prTo = at.posQ + MsToSamples(kPrToMs, m_fs);
    for (std::size_t c = 0; c < m_chn; ++c) {
        if (m_oldWeights[c] == CZatMatch::kLeaveOut) continue;
        const bool isFirst = m_areFirst[c] || m_oldWeights[c] < kUsualOldWeight;
        m_areFirst[c] = false;
        const short levelUv = SmoothTrend(records[c].STuV, m_levelSmoothers[c], isFirst);
        const float slope = SmoothTrend(records[c].STslope, m_slopeSmoothers[c], isFirst);
        const double prUv = kConditionedUvPerUnit *
                            std::accumulate(templ[c] + prFrom, templ[c] + prTo + 1, 0.0) /
                            (prTo - prFrom + 1);
        const double jUv = kConditionedUvPerUnit * templ[c][at.JPoint()];
        const double zeroUv = m_match->ZeroUv(static_cast<short>(c));
        if (isFirst) m_zeroSmoothers[c].InitialValue(zeroUv - prUv);
        const double missedUv = m_zeroSmoothers[c].Filter(zeroUv - prUv);
        const std::size_t lead = m_order[c];
        event.levelUv[lead] = Sign(c) * static_cast<float>(levelUv + missedUv);
        event.slopeUvPerMs[lead] = Sign(c) * slope;
        event.jUv[lead] = Sign(c) * static_cast<float>(jUv - prUv);
    }
    return true;
}

void TemplateFollower::SetOldWeight(std::size_t lead, short weight) {
    const auto c = std::find(m_order.begin(), m_order.end(), lead) - m_order.begin();
    m_oldWeights[static_cast<std::size_t>(c)] = weight;
    m_match->SetOldWeight(static_cast<short>(c), weight);
}

void TemplateFollower::CopyBeat(std::vector<std::vector<float>>& rows) const {
    short** templ = m_match->Templ();
    for (std::size_t c = 0; c < m_chn; ++c) {
        const float uVpb = Sign(c) * static_cast<float>(kConditionedUvPerUnit);
        for (int i = 0; i < m_match->TemplLength(); ++i)
            rows[m_order[c]].push_back(uVpb * static_cast<float>(templ[c][i]));
    }
}

BeatPositionsMs TemplateFollower::Positions() const {
    if (!HasBeat()) return {};
    const TemplGeometry& at = m_match->Geometry();
    const double msPerSample = kMsPerSecond / m_fs;
    return {at.length * msPerSample, (at.posQ + at.zeroWidth) * msPerSample, at.posR * msPerSample,
            at.posJ * msPerSample};
}

}  // namespace qz
