#include "core/filters/CombBank.h"

#include "core/filters/CBlNotchFilter.h"
#include "core/filters/internal/Quotient.h"

void CombBank::Init(int freq, int fs, std::size_t leads) {
    m_lags = {};
    m_combs.clear();
    m_turn = 0;
    if (freq == 0 || fs == 0) return;

    const int streams = CBlNotchFilter::StreamsOf(freq, fs);
    const CombLags lags(freq, fs / streams);
    m_fours = FoursOf(leads);
    Comb comb;
    comb.input.assign((static_cast<std::size_t>(lags.longest) + 1) * m_fours, {});
    comb.accumulators.assign((static_cast<std::size_t>(lags.period) + 1) * m_fours, {});
    m_combs.assign(static_cast<std::size_t>(streams), comb);
    if (lags.period > 0) m_reciprocal = ReciprocalOf(lags.divisor);
    m_lags = lags;  // last: where memory runs out, the input passes through
}
