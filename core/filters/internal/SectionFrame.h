// SectionFrame: the pass of one frame through a SectionBank. Every four leads make one step; the end of the
// object ends the frame.
#pragma once

#include <cstddef>

#include "core/filters/SectionBank.h"
#include "core/filters/internal/Lanes.h"

class SectionFrame {
public:
    explicit SectionFrame(SectionBank& bank)
        : m_bank(bank),
          m_coefficients{AllLanes(bank.m_coefficients.a1), AllLanes(bank.m_coefficients.a2),
                         AllLanes(bank.m_coefficients.b0), AllLanes(bank.m_coefficients.b1),
                         AllLanes(bank.m_coefficients.b2)},
          m_newer(bank.SlotsOf(1)),
          m_older(bank.SlotsOf(0)),
          m_bInRange(bank.m_largestOutput < kWithinInt) {}
    SectionFrame(const SectionFrame&) = delete;
    SectionFrame& operator=(const SectionFrame&) = delete;
    ~SectionFrame() { m_bank.EndFrame(); }

    /// One step of the leads of a four, in the unit of the input.
    DoubleLanes Step(std::size_t four, DoubleLanes x) { return Keep(four, x, Output(four, x)); }
    /// The same with outputs smaller than `limit` replaced by 0.
    DoubleLanes StepWithZeroBelow(double limit, std::size_t four, DoubleLanes x) {
        return Keep(four, x, ZeroBelow(limit, Output(four, x)));
    }
    /// TruncateToInt of every lane of an output.
    IntLanes Truncate(DoubleLanes y) const { return m_bInRange ? TruncateInRange(y) : TruncateToInts(y); }

private:
    static constexpr double kWithinInt = 2147483648.0;

    DoubleLanes Output(std::size_t four, DoubleLanes x) const {
        return m_coefficients.Output(x, Load(m_newer[four].x), Load(m_older[four].x), Load(m_newer[four].y),
                                     Load(m_older[four].y));
    }
    DoubleLanes Keep(std::size_t four, DoubleLanes x, DoubleLanes y) {
        Store(m_older[four].x, x);
        Store(m_older[four].y, y);
        return y;
    }

    SectionBank& m_bank;
    SectionCoefficients<DoubleLanes> m_coefficients;
    const SectionBank::Slot* m_newer;
    SectionBank::Slot* m_older;
    bool m_bInRange;
};
