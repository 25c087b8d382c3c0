// DirectForm1: the second-order section that the low-pass, the high-pass and the notch share.
//
//   y[n] = b0 x[n] + b1 x[n-1] + b2 x[n-2] - a1 y[n-1] - a2 y[n-2]        (a0 = 1)
//
// The sum runs left to right: another grouping changes the last bit and, with it, some 16-bit outputs.
// The owner computes the coefficients.
#pragma once

#include <cmath>

// As core/FloatingPoint.h has it, for this header alone: hosts include it too, and their options are their
// own.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC push_options
#pragma GCC optimize("-ffp-contract=off")
#endif

/// The coefficients, for one lead (double) or for several side by side (DoubleLanes).
template <typename Number>
struct SectionCoefficients {
    Number a1 = {}, a2 = {};           // feedback
    Number b0 = {}, b1 = {}, b2 = {};  // feed-forward

    Number Output(const Number& x, const Number& x1, const Number& x2, const Number& y1,
                  const Number& y2) const {
#if defined(__clang__)
#pragma clang fp contract(off) reassociate(off)
#endif
        return b0 * x + b1 * x1 + b2 * x2 - a1 * y1 - a2 * y2;
    }
    /// How far the slower pole lies from 0; NaN for coefficients that are not finite.
    Number PoleRadius() const {
        const Number d = a1 * a1 / 4 - a2;
        return d < 0 ? std::sqrt(a2) : std::abs(a1) / 2 + std::sqrt(d);
    }
};

struct DirectForm1 : SectionCoefficients<double> {
    static constexpr double kPi = 3.141592653589793;

    double x1 = 0, x2 = 0;  // x[n-1], x[n-2]
    double y1 = 0, y2 = 0;  // y[n-1], y[n-2]

    /// Sets the whole delay line, inputs and outputs alike, to v.
    void Fill(double v) { x1 = x2 = y1 = y2 = v; }
    /// The output for x; the delay line stays as it is until Shift.
    double Output(double x) const { return SectionCoefficients::Output(x, x1, x2, y1, y2); }
    /// Samples until the share of the slower pole has fallen to 1 %: 3 % of a step at the most is then still
    /// dying away. 0 without a pole, and where it never falls. No output depends on it.
    double SettlingSamples() const {
        const double pole = PoleRadius();
        return !(pole > 0 && pole < 1) ? 0 : std::ceil(std::log(0.01) / std::log(pole));
    }
    /// Takes x and its output y into the delay line.
    void Shift(double x, double y) {
        x2 = x1;
        x1 = x;
        y2 = y1;
        y1 = y;
    }
};

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC pop_options
#endif
