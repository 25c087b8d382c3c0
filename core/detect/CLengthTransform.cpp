#include "core/detect/CLengthTransform.h"

#include <algorithm>
#include <cstdint>

#include "core/Arithmetic.h"

void CLengthTransform::Init(int fs, int ms) {
    m_ring.resize(static_cast<std::size_t>(std::max(MsToSamples(ms, fs), 0)));
    Init();
}

void CLengthTransform::Init() {
    std::fill(m_ring.begin(), m_ring.end(), 0);
    m_index = 0;
    m_sum = 0;
    m_previous1 = m_previous2 = m_previous3 = 0;
}

int CLengthTransform::Length(int x) {
    const int change = WrapAbs(WrapSub(x, m_previous1));
    m_previous1 = x;
    return Push(change);
}

int CLengthTransform::Length(int a, int b, int c) {
    // The sum of the three magnitudes is taken modulo 2^32.
    const std::uint32_t sum = static_cast<std::uint32_t>(WrapAbs(WrapSub(a, m_previous1))) +
                              static_cast<std::uint32_t>(WrapAbs(WrapSub(b, m_previous2))) +
                              static_cast<std::uint32_t>(WrapAbs(WrapSub(c, m_previous3)));
    m_previous1 = a;
    m_previous2 = b;
    m_previous3 = c;
    return Push(static_cast<int>(sum / 3));
}

int CLengthTransform::Push(int change) {
    if (m_ring.empty()) return 0;
    m_ring[m_index] = change;
    m_sum = WrapAdd(m_sum, change);
    m_index = m_index + 1 < m_ring.size() ? m_index + 1 : 0;
    m_sum = WrapSub(m_sum, m_ring[m_index]);
    return m_sum;
}
