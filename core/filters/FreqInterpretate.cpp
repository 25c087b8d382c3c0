#include "core/filters/FreqInterpretate.h"

#include <cstddef>

#include "core/Arithmetic.h"

// An output this close to the present input belongs to the next interval.
static constexpr double kIntervalEnd = 0.999999;

void FreqInterpretate::Init(int inRate, int outRate) {
    if (inRate > 0) m_inRate = inRate;
    if (outRate > 0) m_outRate = outRate;
    int mostOutputs = 1;
    m_step = 1;
    if (m_inRate < 1 || m_outRate <= m_inRate) {
        m_outRate = m_inRate;
    } else {
        m_step = static_cast<double>(m_inRate) / m_outRate;
        mostOutputs = m_outRate / m_inRate + (m_outRate % m_inRate != 0 ? 1 : 0);
    }
    m_previous = 0;
    m_phase = 0;
    m_output.resize(static_cast<std::size_t>(mostOutputs));
}

short FreqInterpretate::CalculateReturnValues(short x) {
    std::size_t count = 0;
    if (m_phase < kIntervalEnd) {
        const double slope = (x - m_previous) / (1.0 - m_phase);
        double t = m_phase;
        do {
            m_output[count++] = TruncateToSample((t - m_phase) * slope + m_previous);
            t += m_step;
            // Rounding of the phase never adds an output beyond the slots.
        } while (t < kIntervalEnd && count < m_output.size());
        m_phase = t;
    }
    m_phase -= 1.0;
    m_previous = x;
    return static_cast<short>(count);
}
