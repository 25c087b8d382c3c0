// The second-order difference equation written out over the whole past: the slow, obvious form against which
// the low-pass, high-pass and notch sections are compared to the last bit.
#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "tests/support/Signals.h"

struct SlowSection {
    double b0, b1, b2, a1, a2;
    double smallest = 0;  // outputs below this magnitude become 0

    /// The outputs for `x`, when all inputs and outputs before the first were `before`.
    std::vector<double> Run(const std::vector<double>& x, double before = 0) const {
        std::vector<double> in(2, before), out(2, before);
        for (const double value : x) {
            in.push_back(value);
            const std::size_t n = in.size() - 1;
            double sum = b0 * in[n];
            sum += b1 * in[n - 1];
            sum += b2 * in[n - 2];
            sum -= a1 * out[n - 1];
            sum -= a2 * out[n - 2];
            out.push_back(std::fabs(sum) < smallest ? 0.0 : sum);
        }
        return {out.begin() + 2, out.end()};
    }
};

template <typename To, typename From>
std::vector<To> ConvertAll(const std::vector<From>& values) {
    return {values.begin(), values.end()};
}

/// Runs two equal filters, one through its double form and one through its int form, over `x`: the first must
/// give `expected` to the bit, the second its truncation.
template <typename AnyFilter>
void ExpectFilters(AnyFilter filter, const std::vector<short>& x, const std::vector<double>& expected) {
    AnyFilter intFilter = filter;
    std::vector<double> outputs;
    std::vector<int> intOutputs, truncated;
    for (std::size_t i = 0; i < x.size(); ++i) {
        outputs.push_back(filter.Filter(static_cast<double>(x[i])));
        intOutputs.push_back(intFilter.Filter(static_cast<int>(x[i])));
        truncated.push_back(Truncated(expected[i]));
    }
    ExpectSame(expected, outputs);
    ExpectSame(truncated, intOutputs);
}
