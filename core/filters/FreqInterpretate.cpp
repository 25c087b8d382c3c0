#include "core/filters/FreqInterpretate.h"

#include <cstddef>

#include "core/Arithmetic.h"

void InterpolationClock::Init(int inRate, int outRate) {
    m_phase = 0;
    m_step = 1;
    m_mostOutputs = 1;
    if (inRate < 1 || outRate <= inRate) return;
    m_step = static_cast<double>(inRate) / outRate;
    m_mostOutputs = outRate / inRate + (outRate % inRate != 0 ? 1 : 0);
}

void FreqInterpretate::Init(int inRate, int outRate) {
    if (inRate > 0) m_inRate = inRate;
    if (outRate > 0) m_outRate = outRate;
    if (m_inRate < 1 || m_outRate <= m_inRate) m_outRate = m_inRate;
    InterpolationClock clock;
    clock.Init(m_inRate, m_outRate);
    m_previous = 0;
    m_output.resize(static_cast<std::size_t>(clock.MostOutputs()));
    m_clock = clock;  // last: where memory runs out, the slots still suffice
}

short FreqInterpretate::CalculateReturnValues(short x) {
    const double slope = (x - m_previous) / m_clock.Remaining();
    const int count = m_clock.Step([this, slope](int index, double time) {
        m_output[static_cast<std::size_t>(index)] = TruncateToSample(time * slope + m_previous);
    });
    m_previous = x;
    return static_cast<short>(count);
}
