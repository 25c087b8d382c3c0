#include "core/stress/CZatMidRR.h"

#include <algorithm>
#include <cstddef>
#include <vector>

short CZatMidRR::MeanRR(short rr) {
    const auto count = static_cast<int>(m_values.size());
    m_values.push_back(rr);
    if (count < m_window) return rr;
    if (count > 0) m_values.pop_front();

    std::vector<short> sorted(m_values.begin(), m_values.end());
    std::sort(sorted.begin(), sorted.end());
    if (m_window < -1) return sorted.front();
    const std::size_t oneAboveMiddle = m_window < 0 ? 1 : static_cast<std::size_t>(m_window) / 2 + 1;
    return sorted[std::min(oneAboveMiddle, sorted.size() - 1)];
}
