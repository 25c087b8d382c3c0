#include "session/internal/BeatFollower.h"

#include <limits>
#include <utility>

#include "core/Arithmetic.h"

namespace qz {

namespace {

constexpr int kLongestAloneSeconds = 10;
constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();

}  // namespace

BeatFollower::BeatFollower(int fs, std::size_t chn, int postJms) : m_fs(fs), m_chn(chn), m_postJms(postJms) {
    m_own.levelUv.resize(chn);
    m_own.slopeUvPerMs.resize(chn);
    m_own.jUv.resize(chn);
}

void BeatFollower::Start(const LearnedBeat& beat) {
    m_groups.clear();
    std::vector<std::size_t> together, alone;
    for (std::size_t lead = 0; lead < m_chn; ++lead) (beat.usable[lead] ? together : alone).push_back(lead);
    if (together.empty()) std::swap(together, alone);
    m_lastFolded.assign(alone.size(), std::numeric_limits<int>::min());
    m_frames = 0;
    std::vector<TemplateFollower> groups;
    groups.emplace_back(m_fs, std::move(together), m_postJms);
    for (const std::size_t lead : alone) groups.emplace_back(m_fs, std::vector{lead}, m_postJms);
    for (TemplateFollower& group : groups) group.Start(beat);
    m_alone = std::move(alone);
    m_groups = std::move(groups);
}

bool BeatFollower::Match(const short* frame, BeatEvent& event) {
    ++m_frames;
    for (std::size_t i = 0; i < m_alone.size(); ++i)
        if (m_groups[i + 1].Match(frame, m_own)) m_lastFolded[i] = m_frames;
    if (!m_groups.front().Match(frame, event)) return false;
    for (std::size_t i = 0; i < m_alone.size(); ++i) {
        const std::size_t lead = m_alone[i];
        const bool isFresh =
            m_frames - m_lastFolded[i] <= static_cast<long long>(kLongestAloneSeconds) * m_fs;
        event.levelUv[lead] = isFresh ? m_own.levelUv[lead] : kNothing;
        event.slopeUvPerMs[lead] = isFresh ? m_own.slopeUvPerMs[lead] : kNothing;
        event.jUv[lead] = isFresh ? m_own.jUv[lead] : kNothing;
    }
    return true;
}

std::vector<std::vector<float>> BeatFollower::BeatUv() const {
    if (!HasBeat()) return {};
    std::vector<std::vector<float>> rows(m_chn);
    for (const TemplateFollower& group : m_groups) group.CopyBeat(rows);
    return rows;
}

}  // namespace qz
