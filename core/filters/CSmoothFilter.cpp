#include "core/filters/CSmoothFilter.h"

#include <algorithm>

#include "core/Arithmetic.h"

void CSmoothFilter::Init(int fs, int fc) {
    m_fs = fs;
    m_length = 0;  // where memory runs out, the input passes through
    const int length = std::max(MsToSamples(kRingMs, fs), 0);
    for (std::vector<int>* ring : {&m_raw, &m_lowpass, &m_residual})
        ring->resize(static_cast<std::size_t>(length));
    m_length = length;
    m_innerLowpass.Init(static_cast<double>(fc), fs);
    Init();
}

void CSmoothFilter::Init() {
    m_position = 0;
    m_delay = MsToSamples(kResidualDelayMs, m_fs);
    for (std::vector<int>* ring : {&m_raw, &m_lowpass, &m_residual}) std::fill(ring->begin(), ring->end(), 0);
    m_count = 0;
    m_total = m_window = 0;
    for (std::size_t i = 0; i < m_halfWidths.size(); ++i)
        m_halfWidths[i] = MsToSamples(static_cast<int>(i) + 1, m_fs);
}

int CSmoothFilter::Smooth(int x) {
    if (m_length == 0) return x;
    const auto now = static_cast<std::size_t>(m_position);
    m_raw[now] = x;
    m_lowpass[now] = TruncateToInt(m_innerLowpass.Filter(static_cast<double>(x)));

    const int oldMagnitude = WrapAbs(m_residual[now]);
    const int delayed = m_position - m_delay;
    m_residual[now] =
        WrapSub(m_raw[static_cast<std::size_t>(delayed < 0 ? delayed + m_length : delayed)], m_lowpass[now]);
    const int magnitude = WrapAbs(m_residual[now]);
    ++m_count;
    m_total += magnitude;
    m_window += WrapSub(magnitude, oldMagnitude);

    const int centre = (m_length / 2 + m_position) % m_length;
    const int halfWidth = HalfWidth();
    const int smoothed = halfWidth == kOneTwoOne ? OneTwoOne(centre) : MovingAverage(centre, halfWidth);
    m_position = m_position + 1 < m_length ? m_position + 1 : 0;
    return WrapAdd(smoothed, m_lowpass[static_cast<std::size_t>(centre)]);
}

/// The half-width in samples that fits the activity of the last 30 ms. Under 1000 samples per second 1 ms is
/// no whole sample, and the 1 ms class uses the 1-2-1 kernel too.
int CSmoothFilter::HalfWidth() const {
    const int calmest = static_cast<int>(kActivityTenths.size()) - 1;
    int steps = 0;  // of the activity below the steepest
    while (steps <= calmest && !IsMoreActive(kActivityTenths[static_cast<std::size_t>(steps)], m_window,
                                             m_length, m_total, static_cast<double>(m_count)))
        ++steps;
    return steps == 0 ? kOneTwoOne : m_halfWidths[static_cast<std::size_t>(steps - 1)];
}

/// Mean of the 2 * halfWidth + 1 residuals around `centre`, truncated toward zero. 9 ms to each side fit into
/// the 30 ms of the ring.
int CSmoothFilter::MovingAverage(int centre, int halfWidth) const {
    int slot = centre - halfWidth;
    if (slot < 0) slot += m_length;
    int sum = 0;
    for (int i = 0; i <= 2 * halfWidth; ++i) {
        sum = WrapAdd(sum, m_residual[static_cast<std::size_t>(slot)]);
        if (++slot == m_length) slot = 0;
    }
    return sum / (2 * halfWidth + 1);
}

int CSmoothFilter::OneTwoOne(int centre) const {
    const auto at = [this](int slot) { return m_residual[static_cast<std::size_t>(slot)]; };
    const int before = at(centre == 0 ? m_length - 1 : centre - 1);
    const int after = at(centre + 1 == m_length ? 0 : centre + 1);
    return WrapAdd(WrapAdd(WrapAdd(at(centre), at(centre)), before), after) / 4;
}
