#include "host/Trends.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace {

constexpr double kSecondsPerMinute = 60.0;
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

// The mean of the middle two where they are even in number.
double Median(std::vector<double> values) {
    if (values.empty()) return kNothing;
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

ErrorSize SizeOf(std::vector<double> errors) {
    for (double& error : errors) error = std::abs(error);
    ErrorSize size{Median(errors), kNothing};
    if (!errors.empty()) size.maximum = *std::max_element(errors.begin(), errors.end());
    return size;
}

}  // namespace

std::vector<MinuteRow> SummarizeMinutes(const StressResult& result) {
    struct Readings {
        std::vector<double> bpm;
        std::vector<std::vector<double>> levelUv, slopeUvPerMs;  // [lead]
    };
    const std::size_t leads = result.source.leads.size();
    const int minutes = std::max(1, static_cast<int>(std::ceil(result.seconds / kSecondsPerMinute)));
    std::vector<Readings> readings(static_cast<std::size_t>(minutes));
    for (Readings& minute : readings) {
        minute.levelUv.resize(leads);
        minute.slopeUvPerMs.resize(leads);
    }
    const auto at = [&](double seconds) -> Readings& {
        const int minute = static_cast<int>(std::floor(seconds / kSecondsPerMinute));
        return readings[static_cast<std::size_t>(std::clamp(minute, 0, minutes - 1))];
    };
    for (const RateReading& rate : result.rates) at(rate.seconds).bpm.push_back(rate.bpm);
    for (const STReading& beat : result.beats) {
        Readings& minute = at(beat.seconds);
        for (std::size_t lead = 0; lead < leads; ++lead) {
            minute.levelUv[lead].push_back(beat.levelUv[lead]);
            minute.slopeUvPerMs[lead].push_back(beat.slopeUvPerMs[lead]);
        }
    }
    std::vector<MinuteRow> rows;
    for (Readings& minute : readings) {
        MinuteRow row{static_cast<int>(rows.size()), Median(std::move(minute.bpm)), {}, {}};
        for (std::size_t lead = 0; lead < leads; ++lead) {
            row.levelUv.push_back(Median(std::move(minute.levelUv[lead])));
            row.slopeUvPerMs.push_back(Median(std::move(minute.slopeUvPerMs[lead])));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

std::vector<LeadExtremes> FindExtremes(const StressResult& result) {
    std::vector<LeadExtremes> extremes;
    if (result.beats.empty()) return extremes;
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        const auto [lowest, highest] = std::minmax_element(
            result.beats.begin(), result.beats.end(),
            [&](const STReading& a, const STReading& b) { return a.levelUv[lead] < b.levelUv[lead]; });
        extremes.push_back(
            {lowest->levelUv[lead], lowest->seconds, highest->levelUv[lead], highest->seconds});
    }
    return extremes;
}

Accuracy CompareWithTruth(const StressResult& result, const Truth& truth) {
    Accuracy accuracy;
    std::vector<double> errors;
    for (const RateReading& rate : result.rates) errors.push_back(rate.bpm - truth.bpm(rate.seconds));
    accuracy.bpm = SizeOf(std::move(errors));
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        const int index = static_cast<int>(lead);
        std::vector<double> levelErrors, slopeErrors;
        for (const STReading& beat : result.beats) {
            levelErrors.push_back(beat.levelUv[lead] - truth.levelUv(index, beat.seconds));
            slopeErrors.push_back(beat.slopeUvPerMs[lead] - truth.slopeUvPerMs(index, beat.seconds));
        }
        accuracy.levelUv.push_back(SizeOf(std::move(levelErrors)));
        accuracy.slopeUvPerMs.push_back(SizeOf(std::move(slopeErrors)));
    }
    return accuracy;
}
