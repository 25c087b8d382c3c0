#include "session/internal/BeatFollower.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "core/FloatingPoint.h"

namespace qz {

namespace {

constexpr std::size_t kFewestTogether = 3;  // leads with a majority
constexpr int kFreshSeconds = 10;
constexpr short kRenewedBeats = 6;  // of what was before a seventh is left
constexpr float kUnknown = std::numeric_limits<float>::quiet_NaN();

}  // namespace

BeatFollower::BeatFollower(int fs, std::size_t chn, int postJms, const LearnedBeat& beat)
    : m_fs(fs), m_leads(chn, Lead{TemplateFollower::kUsualOldWeight, 0, false}) {
    m_own.levelUv.resize(chn);
    m_own.slopeUvPerMs.resize(chn);
    m_own.jUv.resize(chn);
    std::vector<std::size_t> usable, other;
    for (std::size_t lead = 0; lead < chn; ++lead) (beat.usable[lead] ? usable : other).push_back(lead);
    if (usable.empty()) std::swap(usable, other);
    const auto add = [&](const std::vector<std::size_t>& leads, bool tells) {
        m_groups.push_back({TemplateFollower(fs, leads, postJms), leads, tells});
        m_groups.back().matcher.Start(beat);
    };
    if (usable.size() >= kFewestTogether)
        add(usable, true);
    else
        for (const std::size_t lead : usable) add({lead}, true);
    for (const std::size_t lead : other) add({lead}, false);
}

bool BeatFollower::Match(const short* frame, const IsGoodLead& isGood, BeatEvent& event) {
    ++m_frames;
    for (Group& group : m_groups) {
        if (group.matcher.IsFoldDue()) Weigh(group, isGood);
        if (!group.matcher.Match(frame, m_own) || !group.tells || m_firstFold >= 0) continue;
        if (std::none_of(group.leads.begin(), group.leads.end(),
                         [this](std::size_t lead) { return m_leads[lead].isFolded; }))
            continue;
        m_firstFold = m_frames;
        m_r = m_frames - group.matcher.SamplesSinceR();
    }
    if (m_firstFold < 0 || m_frames - m_firstFold < static_cast<long long>(kFoldedWithinSeconds * m_fs))
        return false;
    Tell(isGood, event);
    return true;
}

bool BeatFollower::Finish(const IsGoodLead& isGood, BeatEvent& event) {
    if (m_firstFold < 0) return false;
    Tell(isGood, event);
    return true;
}

void BeatFollower::Tell(const IsGoodLead& isGood, BeatEvent& event) {
    m_firstFold = -1;
    m_toldR = m_r;
    for (std::size_t lead = 0; lead < m_leads.size(); ++lead) {
        const bool isKnown =
            m_leads[lead].beats >= kRenewedBeats &&
            m_frames - m_leads[lead].lastFold <= static_cast<long long>(kFreshSeconds) * m_fs &&
            isGood(lead, SamplesSinceR());
        event.levelUv[lead] = isKnown ? m_own.levelUv[lead] : kUnknown;
        event.slopeUvPerMs[lead] = isKnown ? m_own.slopeUvPerMs[lead] : kUnknown;
        event.jUv[lead] = isKnown ? m_own.jUv[lead] : kUnknown;
    }
}

// What of a lead's averaged beat is of the past counts as much as the first beat, so that a noisy one does
// not take its place.
void BeatFollower::Weigh(Group& group, const IsGoodLead& isGood) {
    for (const std::size_t index : group.leads) {
        Lead& lead = m_leads[index];
        lead.isFolded = isGood(index, group.matcher.SamplesSinceR());
        if (!lead.isFolded) {
            group.matcher.LeaveOut(index);
            continue;
        }
        if (m_frames - lead.lastFold > static_cast<long long>(kFreshSeconds) * m_fs) lead.beats = 0;
        lead.beats = std::min<short>(static_cast<short>(lead.beats + 1), TemplateFollower::kUsualOldWeight);
        lead.lastFold = m_frames;
        group.matcher.SetOldWeight(index, lead.beats);
    }
}

std::vector<std::vector<float>> BeatFollower::BeatUv() const {
    std::vector<std::vector<float>> rows(m_leads.size());
    for (const Group& group : m_groups) group.matcher.CopyBeat(rows);
    return rows;
}

}  // namespace qz
