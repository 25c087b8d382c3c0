#include "core/stress/ExerciseIndices.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/Arithmetic.h"

static constexpr float kSecondsPerMinute = 60;
static constexpr float kPointsPerMillivolt = 50;  // 5 a millimetre
static constexpr int kPointsPerAngina = 4;
static constexpr int kLowestAngina = -8192, kHighestAngina = 8191;  // times 4 they fit into 16 bits

static constexpr std::size_t kFewestStages = 3;
static constexpr float kGate130 = 120, kGate150 = 130, kGate170 = 150;  // rates to exceed, beats/min

static constexpr int kMsPerMinute = 60000;
static constexpr double kRoundingBias = 0.111;

short DukeScore(short stressSeconds, float deepestSTmV, short angina) {
    const double minutes = static_cast<double>(stressSeconds) / 60.0;
    const double stTerm = std::fabs(deepestSTmV * kPointsPerMillivolt);
    const auto anginaTerm = static_cast<double>(angina * kPointsPerAngina);
    return TruncateToSample(minutes - stTerm - anginaTerm);
}

std::optional<short> DukeScoreChecked(short stressSeconds, float deepestSTmV, short angina) {
    if (angina < kLowestAngina || angina > kHighestAngina) return std::nullopt;
    const auto anginaTerm = static_cast<float>(angina * kPointsPerAngina);
    const float score = static_cast<float>(stressSeconds) / kSecondsPerMinute -
                        std::fabs(deepestSTmV * kPointsPerMillivolt) - anginaTerm;
    if (!(score > -32769.0F && score < 32768.0F)) return std::nullopt;
    return TruncateToSample(score);
}

Pwc FindPwc(const float* power, const float* heartRate, std::size_t count) {
    Pwc result;
    if (count < kFewestStages) return result;

    std::size_t kept = 0;
    float lowest = 1000, highest = 0, sumPower = 0, sumRate = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (!CountsForPwc(heartRate[i])) continue;
        ++kept;
        lowest = std::min(lowest, heartRate[i]);
        highest = std::max(highest, heartRate[i]);
        sumPower += power[i];
        sumRate += heartRate[i];
    }
    if (kept < kFewestStages || !(highest > kGate130) || !(highest > lowest)) return result;

    const auto stages = static_cast<float>(kept);
    const float meanPower = sumPower / stages;
    const float meanRate = sumRate / stages;
    float sxy = 0, sxx = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (!CountsForPwc(heartRate[i])) continue;
        const float fromMean = power[i] - meanPower;
        sxy += fromMean * (heartRate[i] - meanRate);
        sxx += fromMean * fromMean;
    }
    if (!(sxx > 0)) return result;
    const float slope = sxy / sxx;
    if (!(slope > 0)) return result;
    const float intercept = meanRate - slope * meanPower;

    const auto powerAt = [slope, intercept](float rate) {
        const float reached = (rate - intercept) / slope;
        return reached > 0 ? reached : Pwc::kNotComputed;
    };
    result.pwc130 = powerAt(130);
    if (highest > kGate150) result.pwc150 = powerAt(150);
    if (highest > kGate170) result.pwc170 = powerAt(170);
    return result;
}

short HeartRateOfThreeLeads(short rrMs) {
    if (rrMs < 1) return 0;
    return TruncateToSample(static_cast<double>(kMsPerMinute) / rrMs + kRoundingBias);
}

short HeartRateOfManyLeads(short rrMs) {
    if (rrMs < 1) return 0;
    return WrapToSample(kMsPerMinute / rrMs);
}
