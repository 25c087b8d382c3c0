// CombFrame: the pass of one frame through a CombBank that is not empty. Every four leads make one step; the
// end of the object ends the frame.
#pragma once

#include <cstddef>

#include "core/filters/CombBank.h"
#include "core/filters/internal/Quotient.h"

class CombFrame {
public:
    explicit CombFrame(CombBank& bank)
        : m_bank(bank), m_comb(bank.m_combs[bank.m_turn]), m_reciprocal(AllLanes(bank.m_reciprocal)) {
        const CombLags& lags = bank.m_lags;
        m_input = Input(0);
        m_halfSecond = Input(lags.halfSecond);
        m_oneSecond = Input(lags.oneSecond);
        m_longest = Input(lags.longest);
        m_centre = Input(lags.delay);
        // The ring holds P + 1 accumulators, so the row after the current one was written P steps ago.
        m_nextPos = m_comb.accumulatorPos < lags.period ? m_comb.accumulatorPos + 1 : 0;
        m_accumulator = Accumulator(m_comb.accumulatorPos);
        m_periodAgo = Accumulator(m_nextPos);
    }
    CombFrame(const CombFrame&) = delete;
    CombFrame& operator=(const CombFrame&) = delete;
    ~CombFrame() {
        m_comb.inputPos = m_comb.inputPos < m_bank.m_lags.longest ? m_comb.inputPos + 1 : 0;
        m_comb.accumulatorPos = m_nextPos;
        m_bank.m_turn = m_bank.m_turn + 1 < m_bank.m_combs.size() ? m_bank.m_turn + 1 : 0;
    }

    /// One step of the leads of a four, in the unit of the input; see CBaseNotchFilter.
    IntLanes Step(std::size_t four, IntLanes x) {
        Store(m_input[four], x);
        const IntLanes entering = WrapAdd(x, Load(m_halfSecond[four]));
        const IntLanes leaving = WrapAdd(Load(m_oneSecond[four]), Load(m_longest[four]));
        const IntLanes accumulator = WrapAdd(WrapSub(entering, leaving), Load(m_periodAgo[four]));
        Store(m_accumulator[four], accumulator);
        return WrapSub(Load(m_centre[four]), Quotient(accumulator, m_reciprocal));
    }

private:
    FourInts* Input(int lag) const {
        const int row = m_comb.inputPos - lag;
        return m_comb.input.data() +
               static_cast<std::size_t>(row < 0 ? row + m_bank.m_lags.longest + 1 : row) * m_bank.m_fours;
    }
    FourInts* Accumulator(int row) const {
        return m_comb.accumulators.data() + static_cast<std::size_t>(row) * m_bank.m_fours;
    }

    CombBank& m_bank;
    CombBank::Comb& m_comb;
    DoubleLanes m_reciprocal;
    int m_nextPos;  // of the accumulators
    FourInts* m_input;
    FourInts* m_accumulator;
    const FourInts *m_halfSecond, *m_oneSecond, *m_longest, *m_centre, *m_periodAgo;
};
