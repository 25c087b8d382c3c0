#include "host/results/Summaries.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "host/results/Reference.h"
#include "host/support/Units.h"

double Median(std::vector<double> values) {
    std::erase_if(values, [](double value) { return std::isnan(value); });
    if (values.empty()) return kNothing;
    std::sort(values.begin(), values.end());
    const std::size_t half = values.size() / 2;
    return values.size() % 2 == 1 ? values[half] : (values[half - 1] + values[half]) / 2;
}

double PrLevelUv(const StressResult& result, const std::vector<float>& beatUv) {
    constexpr double kFromMs = 20, kToMs = 8;  // before Q
    const double msPerSample = kMsPerSecond / result.source.fs;
    double sum = 0, count = 0, ms = 0;
    for (const float uV : beatUv) {
        if (ms >= result.positions.q - kFromMs && ms <= result.positions.q - kToMs && std::isfinite(uV)) {
            sum += uV;
            ++count;
        }
        ms += msPerSample;
    }
    return count > 0 ? sum / count : 0;
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
    for (const double referenceUv : MeasureReference(result).levelUv) {
        LeadSummary summary{referenceUv, kNothing, kNothing, kNothing, kNothing, kNothing, kNothing};
        const std::size_t lead = leads.size();
        for (const STReading& beat : result.beats) {
            const double levelUv = beat.levelUv[lead], changeUv = levelUv - referenceUv;
            if (std::isnan(changeUv) || std::abs(changeUv) <= std::abs(summary.changeUv)) continue;
            summary = {referenceUv, changeUv,
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
