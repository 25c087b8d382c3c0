#include "host/live/SignalOverview.h"

#include <algorithm>

namespace {

/// Widens the bounds of all leads by lowest and highest samples, either of which may be missing.
void Widen(short* bounds, const short* lowest, const short* highest, std::size_t chn) {
    for (std::size_t lead = 0; lead < chn; ++lead) {
        if (lowest[lead] == kMissing) continue;
        short& low = bounds[lead];
        low = low == kMissing ? lowest[lead] : std::min(low, lowest[lead]);
        bounds[chn + lead] = std::max(bounds[chn + lead], highest[lead]);
    }
}

}  // namespace

SignalOverview::SignalOverview(const SourceInfo& info)
    : m_chn(info.leads.size()),
      m_framesPerColumn(std::max<std::size_t>(1, static_cast<std::size_t>(info.fs * kFinestSeconds))) {}

void SignalOverview::Add(const short* frames, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, frames += m_chn) {
        if (m_inColumn == m_framesPerColumn || m_bounds.empty()) {
            if (m_bounds.size() == 2 * m_chn * kMostColumns) Halve();
            if (m_inColumn == m_framesPerColumn || m_bounds.empty()) {
                m_bounds.resize(m_bounds.size() + 2 * m_chn, kMissing);
                m_inColumn = 0;
            }
        }
        ++m_inColumn;
        Widen(&m_bounds[m_bounds.size() - 2 * m_chn], frames, frames, m_chn);
    }
}

/// kMostColumns is even: the last column is full as the others are.
void SignalOverview::Halve() {
    const std::size_t width = 2 * m_chn, columns = m_bounds.size() / width;
    for (std::size_t i = 0; 2 * i < columns; ++i) {
        std::copy_n(&m_bounds[2 * i * width], width, &m_bounds[i * width]);
        const short* const other = &m_bounds[(2 * i + 1) * width];
        Widen(&m_bounds[i * width], other, other + m_chn, m_chn);
    }
    m_bounds.resize(columns / 2 * width);
    m_framesPerColumn *= 2;
    m_inColumn = m_framesPerColumn;
}

SignalOverview::Columns SignalOverview::Cover(long long first, long long frames, std::size_t columns) const {
    Columns cover;
    const auto per = static_cast<long long>(m_framesPerColumn);
    const auto all = static_cast<long long>(m_bounds.size() / (2 * m_chn));
    const long long from = std::clamp(first / per, 0LL, all);
    const long long to = std::clamp((first + frames + per - 1) / per, from, all);
    const auto most = static_cast<long long>(std::max<std::size_t>(columns, 1));
    const long long together = std::max(1LL, (to - from + most - 1) / most);
    cover.first = from * per;
    cover.framesPerColumn = together * per;
    for (long long at = from; at < to; at += together) {
        const std::size_t begin = cover.samples.size();
        cover.samples.resize(begin + 2 * m_chn, kMissing);
        for (long long i = at; i < std::min(to, at + together); ++i) {
            const short* const bounds = &m_bounds[static_cast<std::size_t>(i) * 2 * m_chn];
            Widen(&cover.samples[begin], bounds, bounds + m_chn, m_chn);
        }
    }
    return cover;
}
