#include "core/filters/CMultiChannelDoubleSampleRate.h"

#include <cmath>
#include <limits>

#include "core/filters/CDoubleSampleRate.h"
#include "core/filters/internal/Lanes.h"

static constexpr double kNegligible = 0x1p-500;

CMultiChannelDoubleSampleRate::CMultiChannelDoubleSampleRate(short chn)
    : m_leads(ElementCount(chn)),
      m_states(FoursOf(m_leads)),
      m_pairsOfLeads(2 * m_leads),
      m_pairs(m_leads),
      m_first(m_leads),
      m_second(m_leads),
      m_frames{m_first.data(), m_second.data()} {
    for (std::size_t k = 0; k < m_leads; ++k) m_pairs[k] = m_pairsOfLeads.data() + 2 * k;
    SetLimits(CDoubleSampleRate::kSmallStepUv, CDoubleSampleRate::kJumpUv);
}

void CMultiChannelDoubleSampleRate::Init(double uVpb) {
    m_states.assign(m_states.size(), {});
    for (std::vector<short>* outputs : {&m_pairsOfLeads, &m_first, &m_second})
        outputs->assign(outputs->size(), 0);
    SetLimits(CDoubleSampleRate::kSmallStepUv / uVpb, CDoubleSampleRate::kJumpUv / uVpb);
}

/// Steps are whole numbers: they are compared with the whole part of a limit. NaN is a limit that no
/// comparison meets.
void CMultiChannelDoubleSampleRate::SetLimits(double smallStep, double jump) {
    constexpr int kNoneIsSmall = std::numeric_limits<int>::min(),
                  kNoneIsJump = std::numeric_limits<int>::max();
    m_largestSmallStep = std::isnan(smallStep) ? kNoneIsSmall : TruncateToInt(std::floor(smallStep));
    m_largestNoJump = std::isnan(jump) ? kNoneIsJump : TruncateToInt(std::floor(jump));
}

/// The size of every step on its low 16 bits, as in CDoubleSampleRate.
static IntLanes StepSizes(IntLanes to, IntLanes from) {
    return WrapToSamples(Magnitude(WrapToSamples(WrapSub(to, from))));
}

void CMultiChannelDoubleSampleRate::Double(const short* frame, short* midpoints, short* samples) {
    const IntLanes largestSmallStep = AllLanes(m_largestSmallStep), largestNoJump = AllLanes(m_largestNoJump);
    ForEachFour(frame, m_leads, [&](std::size_t four, std::size_t count, IntLanes x) {
        State& state = m_states[four];
        const IntLanes a = Load(state.a), b = Load(state.b), c = Load(state.c);
        const DoubleLanes m = Load(state.m);

        // As in CDoubleSampleRate; a division by a power of 2 is a multiplication.
        const DoubleLanes d = ToDoubles(WrapSub(b, c));
        const DoubleLanes mNew = ToDoubles(WrapSub(x, b)) * AllLanes(0.25);
        const DoubleLanes c3 =
            (m + mNew) * AllLanes(6.0) * AllLanes(0.25) + AllLanes(12.0) * d * AllLanes(0.125);
        const DoubleLanes c2 = d * AllLanes(-6.0) * AllLanes(0.25) - (AllLanes(2.0) * m + mNew);
        const DoubleLanes midpoint = ToDoubles(b) + (c3 / AllLanes(6.0) + (AllLanes(0.5) * c2 + m));

        const IntLanes s1 = StepSizes(b, a), s2 = StepSizes(c, b), s3 = StepSizes(x, c);
        const IntLanes large1 = IsAbove(s1, largestSmallStep), large2 = IsAbove(s2, largestSmallStep),
                       large3 = IsAbove(s3, largestSmallStep);
        const IntLanes jump1 = IsAbove(s1, largestNoJump), jump2 = IsAbove(s2, largestNoJump),
                       jump3 = IsAbove(s3, largestNoJump);
        const IntLanes isolated =
            (~(large1 | large3) & jump2) | (~(large1 | large2) & jump3) | (~(large2 | large3) & jump1);

        // Tangents stay below 2^17, since each is -1/4 of the one before and what 16-bit samples add.
        const IntLanes first = Select(isolated, b, TruncateInRange(midpoint));
        const IntLanes carried = Select(isolated, x, c);
        StoreSome(midpoints + four * kLanes, count, first);
        StoreSome(samples + four * kLanes, count, carried);
        Store(state.m, m + c2 + AllLanes(0.5) * c3);
        Store(state.a, b);
        Store(state.b, carried);
        Store(state.c, x);
    });
    if (++m_steps % kFramesPerCheck == 0) EndSilence();
}

/// Sets tangents to 0 that are smaller than 2^-500.
///
/// Why no output changes: the other terms of c2, c3 and both sums are multiples of 1/4, and the tangent added
/// to anything that large is lost in rounding. Where x - b and b - c are both 0, the midpoint is b plus less
/// than a unit, and the tangent dies away further. Where not, either c2 is not 0, and m + c2 and c2 / 2 + m
/// do not see m; or c2 is 0, then c3 is not, and the sums with c3 do not see it.
void CMultiChannelDoubleSampleRate::EndSilence() {
    for (State& state : m_states)
        for (double& tangent : state.m.lanes)
            if (std::fabs(tangent) < kNegligible) tangent = 0;
}

short** CMultiChannelDoubleSampleRate::GetDoubleSampleRateData(short* frame) {
    Double(frame, m_first.data(), m_second.data());
    for (std::size_t k = 0; k < m_leads; ++k) {
        m_pairsOfLeads[2 * k] = m_first[k];
        m_pairsOfLeads[2 * k + 1] = m_second[k];
    }
    return m_pairs.data();
}
