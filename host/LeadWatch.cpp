#include "host/LeadWatch.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace {

constexpr double kFlatUv = 5, kJumpUv = 3000;
constexpr int kFlatSeconds = 2;  // the quiet between beats is shorter
constexpr int kWindowsPerSecond = 10;
constexpr std::size_t kRingWindows = 3;  // the old one, the one between, the new one
constexpr double kSameSeconds = 1;

int WindowFrames(const SourceInfo& info) { return info.fs / kWindowsPerSecond; }

bool Overlaps(const std::vector<Span>& spans, const Span& asked) {
    for (auto span = spans.rbegin(); span != spans.rend() && span->toSeconds >= asked.fromSeconds; ++span)
        if (span->fromSeconds <= asked.toSeconds) return true;
    return false;
}

}  // namespace

LeadWatch::LeadWatch(const SourceInfo& info)
    : m_fs(info.fs),
      m_flatUnits(kFlatUv / info.uVpb),
      m_window(static_cast<std::size_t>(WindowFrames(info)) * info.leads.size()),
      m_jumpChange(kJumpUv / info.uVpb * WindowFrames(info)),
      m_ring(kRingWindows * m_window),
      m_leads(info.leads.size()) {}

bool LeadWatch::Take(const short* frame) {
    const std::size_t chn = m_leads.size();
    short* const oldest = &m_ring[m_next];  // and the place of the new one
    const short* const older = &m_ring[(m_next + m_window) % m_ring.size()];
    const short* const newer = &m_ring[(m_next + 2 * m_window) % m_ring.size()];
    // Not before, as the first sample of a recording may be far from the rest.
    const bool bFilled = static_cast<std::size_t>(m_frames) * chn >= m_ring.size();
    bool bChanged = false;
    for (std::size_t i = 0; i < chn; ++i) {
        Lead& lead = m_leads[i];
        if (LookForLine(lead, frame[i])) bChanged = true;
        lead.change += frame[i] - newer[i] - older[i] + oldest[i];
        if (bFilled && std::abs(lead.change) > m_jumpChange) Mark(lead, m_frames);
        oldest[i] = frame[i];
    }
    m_next = (m_next + chn) % m_ring.size();
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

void LeadWatch::Disturb(std::size_t lead) { Mark(m_leads[lead], m_frames - 1); }

void LeadWatch::Mark(Lead& lead, long long frame) const {
    const double seconds = Seconds(frame);
    if (lead.disturbed.empty() || seconds - lead.disturbed.back().toSeconds > kSameSeconds)
        lead.disturbed.push_back({seconds, seconds});
    lead.disturbed.back().toSeconds = seconds;
}

bool LeadWatch::IsGood(std::size_t lead, const Span& span) const {
    return !Overlaps(m_leads[lead].off, span) && !Overlaps(m_leads[lead].disturbed, span);
}
