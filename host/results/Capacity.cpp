#include "host/results/Capacity.h"

#include <algorithm>
#include <cmath>

#include "host/results/Exercise.h"
#include "host/results/Reference.h"
#include "host/results/Summaries.h"
#include "host/support/Units.h"

namespace {

constexpr double kHalfWindowSeconds = 5;

// The first second around which the median heart rate is at the target.
double FindTarget(const StressResult& result, double targetBpm) {
    for (int at = 0; at < result.seconds; ++at)
        if (MedianRateAt(result, at) >= targetBpm) return at;
    return kNothing;
}

}  // namespace

const std::vector<std::string>& PredictedRateNames() {
    static const std::vector<std::string> names{"fox", "tanaka", "gulati"};
    return names;
}

std::string DescribeFormula(PredictedRate formula) {
    switch (formula) {
        case PredictedRate::Fox: return "Fox, 220 − age";
        case PredictedRate::Tanaka: return "Tanaka, 208 − 0.7 age";
        case PredictedRate::Gulati: return "Gulati, women, 206 − 0.88 age";
    }
    return {};
}

double PredictBpm(PredictedRate formula, double ageYears) {
    switch (formula) {
        case PredictedRate::Fox: return 220 - ageYears;
        case PredictedRate::Tanaka: return 208 - 0.7 * ageYears;
        case PredictedRate::Gulati: return 206 - 0.88 * ageYears;
    }
    return kNothing;
}

double MedianRateAt(const StressResult& result, double seconds) {
    const auto isBefore = [](const RateReading& rate, double time) { return rate.seconds < time; };
    auto rate =
        std::lower_bound(result.rates.begin(), result.rates.end(), seconds - kHalfWindowSeconds, isBefore);
    std::vector<double> bpm;
    for (; rate != result.rates.end() && rate->seconds <= seconds + kHalfWindowSeconds; ++rate)
        bpm.push_back(rate->bpm);
    return Median(std::move(bpm));
}

Capacity MeasureCapacity(const StressResult& result, const std::vector<Stage>& stages,
                         const std::vector<BloodPressure>& pressures, double peakBpm, PredictedRate formula) {
    Capacity capacity;
    capacity.formula = formula;
    const std::optional<double> age = AgeAt(result.source.patient, result.source.started);
    capacity.predictedBpm = age ? PredictBpm(formula, *age) : kNothing;
    capacity.targetBpm = kTargetPart * capacity.predictedBpm;
    // Some fast beats reach the target in the 10 s around them, but not in the half minute of the peak.
    capacity.targetSeconds =
        peakBpm >= capacity.targetBpm ? FindTarget(result, capacity.targetBpm) : kNothing;

    const std::optional<Span> work = FindWork(stages, result.seconds);
    const bool isAtRest = work && result.reference.span.toSeconds <= work->fromSeconds;
    capacity.restBpm = isAtRest ? MeasureReference(result).bpm : kNothing;
    capacity.chronotropicIndex = (peakBpm - capacity.restBpm) / (capacity.predictedBpm - capacity.restBpm);

    capacity.mets = kNothing;
    for (std::size_t i = 0; work && i < stages.size(); ++i) {
        if (!work->Contains(stages[i].startSeconds)) continue;
        capacity.mets = MetsOf(stages[i], result.source.patient.weightKg);
        capacity.metsStage = NameStage(stages[i], i);
    }

    capacity.ratePressure = capacity.ratePressureSeconds = kNothing;
    for (const BloodPressure& pressure : pressures) {
        const double product = pressure.systolic * MedianRateAt(result, pressure.seconds);
        if (std::isnan(product) || product <= capacity.ratePressure) continue;
        capacity.ratePressure = product;
        capacity.ratePressureSeconds = pressure.seconds;
    }
    for (std::size_t i = 0; i < kRecoveryMinutes.size(); ++i) {
        const double at = work ? work->toSeconds + kRecoveryMinutes[i] * kSecondsPerMinute : kNothing;
        // Without the whole window after the work there is no recovery.
        capacity.recoveryBpm[i] =
            at + kHalfWindowSeconds <= result.seconds ? peakBpm - MedianRateAt(result, at) : kNothing;
    }
    return capacity;
}
