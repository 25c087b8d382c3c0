#include "core/filters/CBaseNotchFilter.h"

#include "core/Arithmetic.h"

void CBaseNotchFilter::Init(int freq, int fs) {
    if (freq > 0) m_freq = freq;
    if (fs > 0) m_fs = fs;
    m_period = m_freq > 0 ? m_fs / m_freq : 0;
    m_inputPos = m_accumulatorPos = 0;
    m_divisor = 0;
    if (m_period == 0) return;

    m_delay = (3 * m_fs) / 4 - m_period / 2;
    m_halfSecond = m_fs / 2;
    m_oneSecond = m_fs;
    m_longest = m_fs / 2 + m_fs;
    m_input.assign(static_cast<std::size_t>(m_longest) + 1, 0);
    m_accumulators.assign(static_cast<std::size_t>(m_period) + 1, 0);
    m_divisor = (2 * m_fs) / m_period;  // last: where memory runs out, the input passes through
}

int CBaseNotchFilter::Filter(int x) {
    if (m_divisor == 0) return x;
    const auto input = [this](int lag) {
        const int slot = m_inputPos - lag;
        return m_input[static_cast<std::size_t>(slot < 0 ? slot + m_longest + 1 : slot)];
    };
    m_input[static_cast<std::size_t>(m_inputPos)] = x;
    // The ring holds P + 1 accumulators, so the slot after the current one was written P steps ago.
    const int nextPos = m_accumulatorPos < m_period ? m_accumulatorPos + 1 : 0;
    const int entering = WrapAdd(x, input(m_halfSecond));
    const int leaving = WrapAdd(input(m_oneSecond), input(m_longest));
    const int accumulator =
        WrapAdd(WrapSub(entering, leaving), m_accumulators[static_cast<std::size_t>(nextPos)]);
    m_accumulators[static_cast<std::size_t>(m_accumulatorPos)] = accumulator;
    const int centre = input(m_delay);

    m_inputPos = m_inputPos < m_longest ? m_inputPos + 1 : 0;
    m_accumulatorPos = nextPos;
    return WrapSub(centre, accumulator / m_divisor);
}
