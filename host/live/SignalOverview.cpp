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

constexpr std::size_t kFramesSideBySide = 8;

/// The sample less one, in the order of samples but for kMissing, which is the highest then (it wraps): that
/// is never the lowest of several.
short LessOne(short sample) { return static_cast<short>(static_cast<unsigned short>(sample) - 1U); }
const short kMissingLessOne = LessOne(kMissing);

}  // namespace

SignalOverview::SignalOverview(const SourceInfo& info)
    : m_chn(info.leads.size()),
      m_framesPerColumn(std::max<std::size_t>(1, static_cast<std::size_t>(info.fs * kFinestSeconds))),
      m_lowest(kFramesSideBySide * m_chn),
      m_highest(kFramesSideBySide * m_chn) {}

void SignalOverview::Add(const short* frames, std::size_t count) {
    while (count > 0) {
        if (m_inColumn == m_framesPerColumn || m_bounds.empty()) {
            if (m_bounds.size() == 2 * m_chn * kMostColumns) Halve();
            if (m_inColumn == m_framesPerColumn || m_bounds.empty()) {
                m_bounds.resize(m_bounds.size() + 2 * m_chn, kMissing);
                m_inColumn = 0;
            }
        }
        const std::size_t here = std::min(count, m_framesPerColumn - m_inColumn);
        WidenLast(frames, here);
        m_inColumn += here;
        frames += here * m_chn;
        count -= here;
    }
}

/// Widens the last column by frames. Rows of several frames side by side are compared sample by sample, which
/// compilers make wide instructions of; then the frames of a row with each other.
void SignalOverview::WidenLast(const short* frames, std::size_t count) {
    const std::size_t samples = count * m_chn, width = std::min(samples, m_lowest.size());
    short* const lowest = m_lowest.data();
    short* const highest = m_highest.data();
    std::fill_n(lowest, width, kMissingLessOne);
    std::fill_n(highest, width, kMissing);
    for (std::size_t from = 0; from < samples; from += width) {
        const short* const row = frames + from;
        const std::size_t length = std::min(width, samples - from);
        for (std::size_t i = 0; i < length; ++i) {
            lowest[i] = std::min(lowest[i], LessOne(row[i]));
            highest[i] = std::max(highest[i], row[i]);
        }
    }
    for (std::size_t i = 0; i < width; ++i) lowest[i] = static_cast<short>(lowest[i] + 1);  // wraps
    for (std::size_t i = 0; i < width; i += m_chn)
        Widen(&m_bounds[m_bounds.size() - 2 * m_chn], lowest + i, highest + i, m_chn);
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
