#include "core/filters/CBaseNotchFilter.h"

#include "core/Arithmetic.h"

CombLags::CombLags(int freq, int fs) {
    period = freq > 0 ? fs / freq : 0;
    if (period == 0) return;
    delay = (3 * fs) / 4 - period / 2;
    divisor = (2 * fs) / period;
    halfSecond = fs / 2;
    oneSecond = fs;
    longest = fs / 2 + fs;
}

void CBaseNotchFilter::Init(int freq, int fs) {
    if (freq > 0) m_freq = freq;
    if (fs > 0) m_fs = fs;
    m_inputPos = m_accumulatorPos = 0;
    m_lags = {};
    const CombLags lags(m_freq, m_fs);
    if (lags.period == 0) return;
    m_input.assign(static_cast<std::size_t>(lags.longest) + 1, 0);
    m_accumulators.assign(static_cast<std::size_t>(lags.period) + 1, 0);
    m_lags = lags;  // last: where memory runs out, the input passes through
}

int CBaseNotchFilter::Filter(int x) {
    if (m_lags.period == 0) return x;
    const auto input = [this](int lag) {
        const int slot = m_inputPos - lag;
        return m_input[static_cast<std::size_t>(slot < 0 ? slot + m_lags.longest + 1 : slot)];
    };
    m_input[static_cast<std::size_t>(m_inputPos)] = x;
    // The ring holds P + 1 accumulators, so the slot after the current one was written P steps ago.
    const int nextPos = m_accumulatorPos < m_lags.period ? m_accumulatorPos + 1 : 0;
    const int entering = WrapAdd(x, input(m_lags.halfSecond));
    const int leaving = WrapAdd(input(m_lags.oneSecond), input(m_lags.longest));
    const int accumulator =
        WrapAdd(WrapSub(entering, leaving), m_accumulators[static_cast<std::size_t>(nextPos)]);
    m_accumulators[static_cast<std::size_t>(m_accumulatorPos)] = accumulator;
    const int centre = input(m_lags.delay);

    m_inputPos = m_inputPos < m_lags.longest ? m_inputPos + 1 : 0;
    m_accumulatorPos = nextPos;
    return WrapSub(centre, accumulator / m_lags.divisor);
}
