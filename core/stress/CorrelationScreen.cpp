#include "core/stress/CorrelationScreen.h"

#include <algorithm>
#include <cstdlib>
#include <numeric>

#include "core/Arithmetic.h"

static constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();

void CorrelationScreen::Create(std::size_t winLen) {
    m_templ.resize((winLen + Block::kLength - 1) / Block::kLength);
    m_ring.assign(winLen + m_templ.size() * Block::kLength, 0);
    m_winLen = winLen;
    m_squares = 0;
    SetTempl({});
}

void CorrelationScreen::SetTempl(const std::vector<int>& diffs) {
    std::int64_t squares = 0;
    for (const int t : diffs) squares += std::int64_t{t} * t;
    m_templSum = std::accumulate(diffs.begin(), diffs.end(), 0);
    const bool isUsable = !diffs.empty() && squares < kSquaresLimit;
    m_templVariance =
        isUsable
            ? static_cast<double>(static_cast<std::int64_t>(m_winLen) * squares - m_templSum * m_templSum)
            : kUnknown;
    std::fill(m_templ.begin(), m_templ.end(), Block{});
    for (std::size_t k = 0; isUsable && k < diffs.size(); k += Block::kLength)
        std::transform(diffs.data() + k, diffs.data() + std::min(k + Block::kLength, diffs.size()),
                       m_templ[k / Block::kLength].at, WrapToSample);
}

double CorrelationScreen::Estimate(std::size_t pos, std::int64_t sum, std::int64_t runningSum) const {
    if (m_squares >= kSquaresLimit || std::abs(runningSum) >= kRunningSumLimit) return kUnknown;
    if (m_squares == 0) return 0 * m_templVariance;  // silence; unknown all the same without a template
    const short* d = m_ring.data() + pos;
    int products = 0;
    for (const Block& t : m_templ) {
        for (std::size_t k = 0; k < Block::kLength; ++k) products += t.at[k] * d[k];
        d += Block::kLength;
    }

    const auto w = static_cast<std::int64_t>(m_winLen);
    const auto C = static_cast<double>(w * products - m_templSum * sum);
    const auto B = static_cast<double>(w * m_squares + (runningSum - 2 * sum) * runningSum);
    const double divisor = m_templVariance * B;
    return divisor == 0 ? 0 : C * C / divisor;
}
