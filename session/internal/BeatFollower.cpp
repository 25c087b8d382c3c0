#include "session/internal/BeatFollower.h"

#include <limits>
#include <utility>

#include "core/Arithmetic.h"
#include "core/FloatingPoint.h"

namespace qz {

namespace {

constexpr std::size_t kFewestTogether = 3;  // leads with a majority
constexpr int kFreshSeconds = 10;
constexpr double kToldAfterSeconds = 0.1;  // within this all leads have folded a beat in
constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();

}  // namespace

BeatFollower::BeatFollower(int fs, std::size_t chn, int postJms) : m_fs(fs), m_chn(chn), m_postJms(postJms) {
    m_own.levelUv.resize(chn);
    m_own.slopeUvPerMs.resize(chn);
    m_own.jUv.resize(chn);
}

void BeatFollower::Start(const LearnedBeat& beat) {
    std::vector<std::size_t> usable, other;
    for (std::size_t lead = 0; lead < m_chn; ++lead) (beat.usable[lead] ? usable : other).push_back(lead);
    if (usable.empty()) std::swap(usable, other);
    std::vector<Group> groups;
    const auto add = [&](std::vector<std::size_t> leads, bool tells) {
        groups.push_back({TemplateFollower(m_fs, leads, m_postJms), std::move(leads), tells, -1});
        groups.back().matcher.Start(beat);
    };
    if (usable.size() >= kFewestTogether)
        add(std::move(usable), true);
    else
        for (const std::size_t lead : usable) add({lead}, true);
    for (const std::size_t lead : other) add({lead}, false);
    m_groups = std::move(groups);
    m_frames = 0;
    m_firstFold = -1;
}

bool BeatFollower::Match(const short* frame, BeatEvent& event) {
    ++m_frames;
    for (Group& group : m_groups) {
        if (!group.matcher.Match(frame, m_own)) continue;
        group.lastFolded = m_frames;
        if (!group.tells || m_firstFold >= 0) continue;
        m_firstFold = m_frames;
        m_r = m_frames - group.matcher.SamplesSinceR();
    }
    if (m_firstFold < 0 || m_frames - m_firstFold < static_cast<long long>(kToldAfterSeconds * m_fs)) return false;
    m_firstFold = -1;
    m_toldR = m_r;
    for (const Group& group : m_groups) {
        const bool isFresh = group.lastFolded >= 0 &&
                             m_frames - group.lastFolded <= static_cast<long long>(kFreshSeconds) * m_fs;
        for (const std::size_t lead : group.leads) {
            event.levelUv[lead] = isFresh ? m_own.levelUv[lead] : kNothing;
            event.slopeUvPerMs[lead] = isFresh ? m_own.slopeUvPerMs[lead] : kNothing;
            event.jUv[lead] = isFresh ? m_own.jUv[lead] : kNothing;
        }
    }
    return true;
}

std::vector<std::vector<float>> BeatFollower::BeatUv() const {
    if (!HasBeat()) return {};
    std::vector<std::vector<float>> rows(m_chn);
    for (const Group& group : m_groups) group.matcher.CopyBeat(rows);
    return rows;
}

}  // namespace qz
