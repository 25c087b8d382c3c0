#include "core/stress/STHRIndices.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "core/FloatingPoint.h"

static constexpr std::size_t kFewestPoints = 3;
// Two-sided 5 % limits of Student's t for 1, 2, 3 ... degrees of freedom. Beyond the last one it stands for
// all, which is at most 4 % too strict.
static constexpr std::array kStudentT{12.706, 4.303, 3.182, 2.776, 2.571, 2.447, 2.365, 2.306, 2.262, 2.228,
                                      2.201,  2.179, 2.160, 2.145, 2.131, 2.120, 2.110, 2.101, 2.093, 2.086,
                                      2.080,  2.074, 2.069, 2.064, 2.060, 2.056, 2.052, 2.048, 2.045, 2.042};

static bool IsKnown(const STAtRate& point) {
    return std::isfinite(point.bpm) && std::isfinite(point.levelUv);
}

double FindSTHRIndex(const STAtRate& rest, const STAtRate& peak) {
    const double rise = peak.bpm - rest.bpm;
    if (!(rise >= kLeastSTHRRiseBpm)) return std::numeric_limits<double>::quiet_NaN();
    return (rest.levelUv - peak.levelUv) / rise;
}

STHRSlope FindSTHRSlope(const STAtRate* course, std::size_t count) {
    STHRSlope steepest;
    // Sums over the points taken so far, from peak exercise backward, less the values at the peak, which
    // keeps the digits.
    double sumX = 0, sumY = 0, sumXX = 0, sumXY = 0, sumYY = 0;
    const STAtRate* peak = nullptr;
    std::size_t points = 0;
    for (const STAtRate* point = course + count; point != course;) {
        if (!IsKnown(*--point)) continue;
        if (peak == nullptr) peak = point;
        const double x = point->bpm - peak->bpm, y = peak->levelUv - point->levelUv;
        sumX += x;
        sumY += y;
        sumXX += x * x;
        sumXY += x * y;
        sumYY += y * y;
        if (++points < kFewestPoints) continue;
        const auto n = static_cast<double>(points);
        const double sxx = sumXX - sumX * sumX / n, sxy = sumXY - sumX * sumY / n,
                     syy = sumYY - sumY * sumY / n;
        if (!(sxx > 0) || !(sxy > 0)) continue;
        // t^2 = (n - 2) r^2 / (1 - r^2), without a division by zero where all points lie on the line.
        const double limit = kStudentT[std::min(points - kFewestPoints, kStudentT.size() - 1)];
        if (!((n - 2) * sxy * sxy > limit * limit * (sxx * syy - sxy * sxy))) continue;
        if (!(sxy / sxx <= steepest.uVPerBpm)) steepest = {sxy / sxx, points};
    }
    return steepest;
}
