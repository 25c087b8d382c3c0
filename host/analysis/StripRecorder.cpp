#include "host/analysis/StripRecorder.h"

#include <algorithm>
#include <cmath>
#include <utility>

static constexpr double kLatestSeconds = 1e9;  // later strips are beyond any recording

StripRecorder::StripRecorder(const SourceInfo& info, std::vector<double> starts)
    : m_uVpb(info.uVpb),
      m_length(static_cast<std::size_t>(std::lround(kStripSeconds * info.fs))),
      m_first(info.leads.size()),
      m_uV(info.leads.size()) {
    std::erase_if(starts, [](double seconds) { return !(seconds >= 0 && seconds < kLatestSeconds); });
    std::sort(starts.begin(), starts.end());
    for (const double seconds : starts) {
        m_starts.push_back(std::llround(seconds * info.fs));
        const Rows none(info.leads.size());
        m_strips.push_back({static_cast<double>(m_starts.back()) / info.fs, none, none});
    }
}

void StripRecorder::TakeRaw(const short* frame) {
    if (m_rawFrames == 0) m_first.assign(frame, frame + m_first.size());
    if (IsWanted(m_raw, m_rawFrames)) {
        for (std::size_t c = 0; c < m_uV.size(); ++c)
            m_uV[c] = static_cast<float>((frame[c] - m_first[c]) * m_uVpb);
        Keep(m_raw, m_rawFrames);
    }
    ++m_rawFrames;
}

void StripRecorder::TakeClean(const short* uV, long long shown) {
    if (!IsWanted(m_clean, shown)) return;
    std::copy_n(uV, m_uV.size(), m_uV.begin());
    Keep(m_clean, shown);
}

// Appends m_uV to the strips that the frame belongs to: they may overlap.
void StripRecorder::Keep(Kind& kind, long long frame) {
    const auto isComplete = [&](const Strip& strip) { return (strip.*kind.rows).front().size() == m_length; };
    for (std::size_t i = kind.open; i < m_strips.size() && frame >= m_starts[i]; ++i) {
        if (isComplete(m_strips[i])) continue;
        for (std::size_t c = 0; c < m_uV.size(); ++c) (m_strips[i].*kind.rows)[c].push_back(m_uV[c]);
    }
    while (kind.open < m_strips.size() && isComplete(m_strips[kind.open])) ++kind.open;
}

std::vector<Strip> StripRecorder::Finish() {
    std::erase_if(m_strips, [](const Strip& strip) { return strip.rawUv.front().empty(); });
    return std::move(m_strips);
}
