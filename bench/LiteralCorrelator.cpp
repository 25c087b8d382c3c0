#include "bench/LiteralCorrelator.h"

#include <cstddef>
#include <utility>

LiteralCorrelator::LiteralCorrelator(std::vector<double> templateDiffs, int ringLength)
    : m_templateDiffs(std::move(templateDiffs)),
      m_diffRing(m_templateDiffs.size()),
      m_ringLength(ringLength) {
    for (const double diff : m_templateDiffs) m_templateMean += diff;
    m_templateMean /= static_cast<double>(m_templateDiffs.size());
}

double LiteralCorrelator::Correlate(short sample) {
    const auto window = static_cast<int>(m_diffRing.size());
    const auto ring = [this](int slot) -> double& { return m_diffRing[static_cast<std::size_t>(slot)]; };
    ring(m_diffPos) = sample - m_previous;
    m_previous = sample;
    m_diffSum += ring(m_diffPos);
    m_diffPos = (m_diffPos + 1) % window;
    if (m_taken < m_ringLength) ++m_taken;
    if (m_taken < m_ringLength) return 0;

    const double mean = m_diffSum / window;
    double saa = 0, sbb = 0, sab = 0;
    for (int k = 0; k < window; ++k) {
        const double a = m_templateDiffs[static_cast<std::size_t>(k)] - m_templateMean;
        const double b = ring((m_diffPos + k) % window) - mean;
        saa += a * a;
        sbb += b * b;
        sab += a * b;
    }
    m_diffSum -= ring(m_diffPos);
    return sab * sab / (saa * sbb);
}
