// Capacity: how far a test went, by heart rate, blood pressure and work.
//
//   predicted maximal heart rate   Fox 220 - age (Fox, Naughton, Haskell, Ann Clin Res 1971; 3: 404-432)
//                                  Tanaka 208 - 0.7 age (Tanaka et al., J Am Coll Cardiol 2001; 37: 153-156)
//                                  Gulati 206 - 0.88 age, of women (Gulati et al., Circulation 2010; 122:
//                                  130-137)
//   target                         85 % of it
//   chronotropic index             (peak - rest) / (predicted - rest)
//                                  (Wilkoff, Miller, Cardiol Clin 1992; 10: 705-717)
//   heart-rate recovery            peak less the heart rate 1 and 2 min after the work
//                                  (Cole et al., N Engl J Med 1999; 341: 1351-1357)
//   double product                 systolic pressure times the heart rate at that time
#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "host/results/StageSources.h"
#include "host/results/StressResult.h"

enum class PredictedRate { Fox, Tanaka, Gulati };
/// "fox", "tanaka" and "gulati", in the order of the enum.
const std::vector<std::string>& PredictedRateNames();
/// "Fox, 220 - age".
std::string DescribeFormula(PredictedRate formula);
double PredictBpm(PredictedRate formula, double ageYears);

constexpr double kTargetPart = 0.85;  // of the predicted maximal heart rate
constexpr std::array kRecoveryMinutes{1, 2};

/// NaN for what is not known.
struct Capacity {
    PredictedRate formula = PredictedRate::Fox;
    double predictedBpm = 0, targetBpm = 0;
    double targetSeconds = 0;  // when the target was reached first; NaN where the peak stays below it
    double restBpm = 0;        // of the reference, where that lies before the work
    double chronotropicIndex = 0;
    double mets = 0;  // of the last stage of work
    std::string metsStage;
    double ratePressure = 0, ratePressureSeconds = 0;              // the largest, mmHg/min
    std::array<double, kRecoveryMinutes.size()> recoveryBpm = {};  // below the peak
};
Capacity MeasureCapacity(const StressResult& result, const std::vector<Stage>& stages,
                         const std::vector<BloodPressure>& pressures, double peakBpm, PredictedRate formula);

/// Median heart rate from 5 s before a time to 5 s after it; NaN without readings.
double MedianRateAt(const StressResult& result, double seconds);
