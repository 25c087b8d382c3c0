// CorrelationScreen: an estimate of CZatTemplRxy::rxy of one lead, made of whole numbers: fast, and close
// enough to tell on which side of a threshold rxy lies, unless that is within kMargin of it.
//
// t are the differences of the template and d those of the signal over the window of w samples, T and D their
// sums, and M / w is what rxy takes off each d: M is D and the offset that CZatTemplRxy::Take tells of.
//
//   A = w sum(t^2) - T^2      B = w sum(d^2) - 2 M D + M^2      C = w sum(t d) - T D
//
//   estimate = C^2 / (A B)                      A = w Saa, B = w Sbb, C = w Sab, all three exact
//
// sum(t d) costs one multiplication of 16 by 16 bits into a sum of 32 per window sample. The other sums
// follow the window by one term.
//
// Why the estimate and rxy differ by less than kMargin = 2^-24, with u = 2^-53 and w < 2^15:
//
//   Guards: sum(t^2) < 2^30, sum(d^2) < 2^30 and |M| < 2^23. Beyond them the estimate is NaN.
//   Range: each |t| and |d| is below 2^15 and fits into 16 bits. By Cauchy's inequality any partial sum of
//     t d stays below 2^30, and |T| and |D| below sqrt(2^15 2^30) < 2^23. A, B and C stay below 2^53: as
//     doubles they are exact, and the estimate is rounded three times.
//   Terms: rxy sums a = t - T / w and b = d - M / w. Both are multiples of 1 / w. Where one is 0 its quotient
//     is whole, and nothing is rounded. Else it is 1 / w at least, so that the rounded quotient puts it off
//     by u |T| or u |M| < 2^-30 of itself, and the rounded difference by u more: by less than 2^-29 in all.
//   Sums: with two such factors, a rounded product and w rounded additions, no term is off by more than 2^-27
//     of itself. So Saa and Sbb are off by 2^-27 of themselves, and Sab by 2^-27 sum|a b|, which is no more
//     than 2^-27 sqrt(Saa Sbb).
//   Result: Sab puts the correlation coefficient off by 2^-27, its square by 2 times that, and the divisor by
//     2 times that again. This is 2^-25 and a few u: half the margin. The other half covers the mean over up
//     to 2^15 leads, which rounding puts off by less than 2^-37.
//   Flat: a signal or template without variance has B or A of 0, exactly. rxy is NaN then and the estimate 0:
//     neither reaches a threshold.
//
// Only Create allocates. One object belongs to one thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "core/Export.h"

class QZ_API CorrelationScreen {
public:
    /// What the estimate differs from rxy by at the most.
    static constexpr double kMargin = 1.0 / (1 << 24);

    /// A window of winLen differences, all 0, without a template.
    void Create(std::size_t winLen);
    /// Takes the template's differences, winLen of them, or none: every estimate is NaN then.
    void SetTempl(const std::vector<int>& diffs);
    /// Takes the next difference into slot `pos` of the ring, in place of `oldest`.
    void Take(std::size_t pos, int diff, int oldest) {
        m_ring[pos] = m_ring[pos + m_winLen] = static_cast<short>(static_cast<std::uint16_t>(diff));
        m_squares += std::int64_t{diff - oldest} * (diff + oldest);
    }
    /// The estimate for the window that begins in slot `pos`; `sum` is D, `runningSum` M.
    double Estimate(std::size_t pos, std::int64_t sum, std::int64_t runningSum) const;

private:
    static constexpr std::int64_t kSquaresLimit = 1 << 30;     // of sum(t^2) and sum(d^2)
    static constexpr std::int64_t kRunningSumLimit = 1 << 23;  // of |M|

    // As many products as are summed together: two vectors of the smallest kind.
    struct alignas(16) Block {
        static constexpr std::size_t kLength = 16;
        short at[kLength];
    };

    std::size_t m_winLen = 0;
    std::vector<Block> m_templ;  // t, with zeros behind
    // Each difference twice, winLen slots apart, and room behind them for what the template's zeros meet: the
    // window is one run of memory wherever it begins.
    std::vector<short> m_ring;
    std::int64_t m_templSum = 0;                                        // T
    double m_templVariance = std::numeric_limits<double>::quiet_NaN();  // A
    std::int64_t m_squares = 0;                                         // sum(d^2)
};
