#include "core/filters/SectionBank.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "core/FloatingPoint.h"

static constexpr double kSmallestCoefficient = 0x1p-64;
static constexpr double kLargestCoefficient = 4;
static constexpr double kStabilityMargin = 0x1p-30;
static constexpr double kSilence = 0x1p-600;

void SectionBank::Init(const SectionCoefficients<double>& coefficients, std::size_t leads,
                       double largestInput) {
    m_coefficients = coefficients;
    m_frames = 0;
    m_bEndsSilence = coefficients.b0 != 0 && coefficients.PoleRadius() < 1 - kStabilityMargin;
    for (const double c :
         {coefficients.a1, coefficients.a2, coefficients.b0, coefficients.b1, coefficients.b2}) {
        const double size = std::fabs(c);
        if (!(c == 0 || (size >= kSmallestCoefficient && size <= kLargestCoefficient)))
            m_bEndsSilence = false;
    }
    m_slots.assign(2 * FoursOf(leads), {});

    // The sum of the sizes of an impulse response of two poles within a circle is at most 1 / (1 - radius)^2,
    // and that of two conjugate ones at an angle w at most 1 / ((1 - radius) sin w). The factor of 2 is more
    // than rounding adds.
    m_largestOutput = std::numeric_limits<double>::infinity();
    const double radius = coefficients.PoleRadius();
    if (!(radius < 1 - kStabilityMargin)) return;
    const double cosine = -coefficients.a1 / (2 * radius);
    const double sine = std::fabs(cosine) < 1 ? std::sqrt(1 - cosine * cosine) : 0;
    const double inputs =
        std::fabs(coefficients.b0) + std::fabs(coefficients.b1) + std::fabs(coefficients.b2);
    m_largestOutput = 2 * largestInput * inputs / ((1 - radius) * std::max(1 - radius, sine));
}

/// Clears the delay line of every lead whose last two inputs were 0 and whose last two outputs are smaller
/// than 2^-600.
///
/// Why no truncated output changes: call dust what is smaller than 2^-500, and P the rounded sum of the
/// inputs' three terms. Every output is then dust, in the cleared line as in the other, or the same bits in
/// both. As long as the inputs are 0 both lines decay from dust, the section being stable. P is a multiple of
/// 2^-116, since coefficients that are not 0 are at least 2^-64 and inputs whole; dust added to anything
/// above 2^-400 is lost in rounding.
///   1. The first P that is not 0 is so the output y of both, at least 2^-116 in size.
///   2. The next output is P - a1 y, a multiple of 2^-232: it is 0 (and the output dust), or it is above
///   2^-400.
///      Then the last two outputs of both lines are the same, and the lines for good.
///   3. After dust, the next is P - a2 y, the same in both, dust or at least 2^-232. Where it is dust, all
///   begins
///      anew. Where it is not, step 2 follows: dust once more takes P = a1 y. Either P is not 0, so that y is
///      at least 2^-118 in size, and the bounds hold again; or a1 is 0, and the outputs of odd and of even
///      frames know nothing of each other: each is dust or the same for itself.
/// Dust truncates to 0 as 0 does.
void SectionBank::EndSilence() {
    const std::size_t fours = m_slots.size() / 2;
    for (std::size_t four = 0; four < fours; ++four) {
        Slot& newer = m_slots[four];
        Slot& older = m_slots[fours + four];
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            if (newer.x.lanes[lane] != 0 || older.x.lanes[lane] != 0) continue;
            double& y1 = newer.y.lanes[lane];
            double& y2 = older.y.lanes[lane];
            if (std::fabs(y1) < kSilence && std::fabs(y2) < kSilence) y1 = y2 = 0;
        }
    }
}
