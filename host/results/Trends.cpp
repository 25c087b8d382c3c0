#include "host/results/Trends.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/support/Text.h"

namespace {

constexpr double kSecondsPerMinute = 60.0;
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

ErrorSize SizeOf(std::vector<double> errors) {
    std::erase_if(errors, [](double error) { return std::isnan(error); });
    for (double& error : errors) error = std::abs(error);
    ErrorSize size{Median(errors), kNothing};
    if (!errors.empty()) size.maximum = *std::max_element(errors.begin(), errors.end());
    return size;
}

}  // namespace

std::string DescribeLearning(const StressResult& result) {
    const LearnedBeat& learned = result.learned;
    return std::to_string(learned.beatsUsed) + " of " + std::to_string(learned.beatsFound) + " beats in " +
           Number(learned.fromSeconds, 0) + " s" +
           (learned.record == result.source.name ? "" : " of " + learned.record);
}

double Median(std::vector<double> values) {
    std::erase_if(values, [](double value) { return std::isnan(value); });
    if (values.empty()) return kNothing;
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

std::vector<double> FirstMedians(const StressResult& result, LeadValues values) {
    std::vector<double> firsts;
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        std::vector<double> first;
        double until = kNothing;  // seconds
        for (const STReading& beat : result.beats) {
            const double value = (beat.*values)[lead];
            if (beat.seconds > until) break;
            if (std::isnan(value)) continue;
            if (first.empty()) until = beat.seconds + kFirstSeconds;
            first.push_back(value);
        }
        firsts.push_back(Median(std::move(first)));
    }
    return firsts;
}

double STHRindex(double levelUv, double bpm) { return bpm > 0 ? levelUv / bpm : kNothing; }

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

std::vector<LeadSummary> SummarizeLeads(const StressResult& result) {
    std::vector<LeadSummary> leads;
    if (result.beats.empty()) return leads;
    for (const double firstUv : FirstMedians(result, &STReading::levelUv)) {
        LeadSummary summary{firstUv, kNothing, kNothing, kNothing, kNothing, kNothing, kNothing};
        const std::size_t lead = leads.size();
        for (const STReading& beat : result.beats) {
            const double levelUv = beat.levelUv[lead], changeUv = levelUv - firstUv;
            if (std::isnan(levelUv) || std::abs(changeUv) <= std::abs(summary.changeUv)) continue;
            summary = {firstUv,     changeUv,
                       levelUv,     beat.slopeUvPerMs[lead],
                       beat.bpm,    STHRindex(levelUv, beat.bpm),
                       beat.seconds};
        }
        leads.push_back(summary);
    }
    return leads;
}

std::vector<LeadExtremes> FindExtremes(const StressResult& result) {
    std::vector<LeadExtremes> extremes;
    if (result.beats.empty()) return extremes;
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        LeadExtremes found{kNothing, kNothing, kNothing, kNothing};
        for (const STReading& beat : result.beats) {
            const double levelUv = beat.levelUv[lead];
            if (std::isnan(levelUv)) continue;
            if (!(levelUv >= found.lowestUv)) {
                found.lowestUv = levelUv;
                found.lowestSeconds = beat.seconds;
            }
            if (!(levelUv < found.highestUv)) {
                found.highestUv = levelUv;
                found.highestSeconds = beat.seconds;
            }
        }
        extremes.push_back(found);
    }
    return extremes;
}

Accuracy CompareWithTruth(const StressResult& result, const Truth& truth) {
    Accuracy accuracy;
    std::vector<double> errors;
    for (const RateReading& rate : result.rates) errors.push_back(rate.bpm - truth.bpm(rate.seconds));
    accuracy.bpm = SizeOf(std::move(errors));
    if (!truth.levelUv) return accuracy;
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
