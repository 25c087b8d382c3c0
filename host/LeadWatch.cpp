#include "host/LeadWatch.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kFlatUv = 5, kJumpUv = 3000;
constexpr int kFlatSeconds = 2;  // the quiet between beats is shorter
constexpr int kWindowsPerSecond = 10;
constexpr long long kWindowsApart = 2;  // from the old mean to the new one
constexpr double kSameSeconds = 1;

bool Overlaps(const std::vector<Span>& spans, const Span& asked) {
    for (auto span = spans.rbegin(); span != spans.rend() && span->toSeconds >= asked.fromSeconds; ++span)
        if (span->fromSeconds <= asked.toSeconds) return true;
    return false;
}

}  // namespace

LeadWatch::LeadWatch(const SourceInfo& info)
    : m_fs(info.fs),
      m_flatUnits(kFlatUv / info.uVpb),
      m_jumpUnits(kJumpUv / info.uVpb),
      m_window(info.fs / kWindowsPerSecond),
      m_latest(static_cast<std::size_t>((kWindowsApart + 1) * m_window + 1) * info.leads.size()),
      m_leads(info.leads.size()) {}

bool LeadWatch::Take(const short* frame) {
    const std::size_t chn = m_leads.size();
    const auto ring = static_cast<long long>(m_latest.size() / chn);
    std::copy_n(frame, chn, m_latest.begin() + m_frames % ring * static_cast<long long>(chn));
    bool bChanged = false;
    for (std::size_t i = 0; i < chn; ++i) {
        if (LookForLine(m_leads[i], frame[i])) bChanged = true;
        LookForJump(i, frame[i]);
    }
    ++m_frames;
    return bChanged;
}

bool LeadWatch::LookForLine(Lead& lead, short sample) {
    lead.lowest = m_frames == 0 ? sample : std::min(lead.lowest, sample);
    lead.highest = m_frames == 0 ? sample : std::max(lead.highest, sample);
    const bool bWasOff = lead.isOff;
    if (lead.highest - lead.lowest >= m_flatUnits) {
        lead.lowest = lead.highest = sample;
        lead.flatFrom = m_frames;
        lead.isOff = false;
        if (bWasOff) lead.off.back().toSeconds = Seconds(m_frames);
    } else if (!bWasOff && m_frames - lead.flatFrom >= static_cast<long long>(kFlatSeconds) * m_fs) {
        lead.isOff = true;
        lead.off.push_back({Seconds(lead.flatFrom), std::numeric_limits<double>::infinity()});
    }
    return lead.isOff != bWasOff;
}

void LeadWatch::LookForJump(std::size_t i, short sample) {
    const long long apart = kWindowsApart * m_window;
    Lead& lead = m_leads[i];
    lead.newSum += sample;
    if (m_frames >= m_window) lead.newSum -= Earlier(i, m_window);
    if (m_frames >= apart) lead.oldSum += Earlier(i, apart);
    if (m_frames >= apart + m_window) {
        lead.oldSum -= Earlier(i, apart + m_window);
        if (std::abs(lead.newSum - lead.oldSum) > m_jumpUnits * static_cast<double>(m_window))
            Mark(lead, m_frames);
    }
}

void LeadWatch::Disturb(std::size_t lead) { Mark(m_leads[lead], m_frames - 1); }

void LeadWatch::Mark(Lead& lead, long long frame) const {
    const double seconds = Seconds(frame);
    if (lead.disturbed.empty() || seconds - lead.disturbed.back().toSeconds > kSameSeconds)
        lead.disturbed.push_back({seconds, seconds});
    lead.disturbed.back().toSeconds = seconds;
}

short LeadWatch::Earlier(std::size_t lead, long long frames) const {
    const auto chn = static_cast<long long>(m_leads.size());
    const auto ring = static_cast<long long>(m_latest.size()) / chn;
    return m_latest[static_cast<std::size_t>((m_frames - frames) % ring * chn) + lead];
}

bool LeadWatch::IsGood(std::size_t lead, const Span& span) const {
    return !Overlaps(m_leads[lead].off, span) && !Overlaps(m_leads[lead].disturbed, span);
}
