#include "host/results/Summaries.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "host/results/Reference.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

double Median(std::vector<double> values) {
    std::erase_if(values, [](double value) { return std::isnan(value); });
    if (values.empty()) return kNothing;
    const auto half = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), half, values.end());
    return values.size() % 2 == 1 ? *half : (*std::max_element(values.begin(), half) + *half) / 2;
}

double PrLevelUv(const std::vector<float>& beatUv, double qMs, int fs) {
    constexpr double kFromMs = 20, kToMs = 8;  // before Q
    const double msPerSample = kMsPerSecond / fs;
    double sum = 0, count = 0, ms = 0;
    for (const float uV : beatUv) {
        if (ms >= qMs - kFromMs && ms <= qMs - kToMs && std::isfinite(uV)) {
            sum += uV;
            ++count;
        }
        ms += msPerSample;
    }
    return count > 0 ? sum / count : 0;
}

double STHRindex(double levelUv, double bpm) { return bpm > 0 ? levelUv / bpm : kNothing; }

std::vector<MinuteRow> SummarizeMinutes(const StressResult& result) {
    std::vector<MinuteRow> rows;
    auto rate = result.rates.begin();
    auto beat = result.beats.begin();
    for (double from = 0; rows.empty() || from < result.seconds; from += kSecondsPerMinute) {
        const bool isLast = from + kSecondsPerMinute >= result.seconds;
        const auto isWithin = [&](double seconds) { return isLast || seconds < from + kSecondsPerMinute; };
        std::vector<double> bpm;
        std::vector<std::vector<double>> levels(result.source.leads.size()), slopes(levels.size());
        for (; rate != result.rates.end() && isWithin(rate->seconds); ++rate) bpm.push_back(rate->bpm);
        for (; beat != result.beats.end() && isWithin(beat->seconds); ++beat) {
            for (std::size_t lead = 0; lead < levels.size(); ++lead) {
                levels[lead].push_back(beat->levelUv[lead]);
                slopes[lead].push_back(beat->slopeUvPerMs[lead]);
            }
        }
        MinuteRow& row = rows.emplace_back(MinuteRow{from, Median(std::move(bpm)), {}, {}});
        for (std::vector<double>& values : levels) row.levelUv.push_back(Median(std::move(values)));
        for (std::vector<double>& values : slopes) row.slopeUvPerMs.push_back(Median(std::move(values)));
    }
    return rows;
}

bool IsChosenForST(const std::string& lead) { return !EqualIgnoringCase(lead, "aVR"); }

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

std::optional<double> MedianAroundBriefUv(const StressResult& result, std::size_t lead, double referenceUv,
                                          const STReading& reading) {
    constexpr double kAroundSeconds = 30, kLastingPart = 0.5;
    const double changeUv = reading.levelUv[lead] - referenceUv;
    if (!(std::abs(changeUv) >= kUvPerMm)) return {};
    std::vector<double> around;
    auto beat =
        std::lower_bound(result.beats.begin(), result.beats.end(), reading.seconds - kAroundSeconds,
                         [](const STReading& earlier, double seconds) { return earlier.seconds < seconds; });
    for (; beat != result.beats.end() && beat->seconds <= reading.seconds + kAroundSeconds; ++beat)
        around.push_back(beat->levelUv[lead] - referenceUv);
    const double medianUv = Median(std::move(around));
    if (medianUv / changeUv >= kLastingPart) return {};
    return medianUv;
}

std::vector<QualitySummary> SummarizeQuality(const StressResult& result) {
    constexpr float kPoor = 0.5F;
    std::vector<QualitySummary> leads;
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        std::vector<double> values;
        double poor = 0;
        for (const qz::QualityEvent& event : result.quality) {
            values.push_back(event.quality[lead]);
            poor += event.quality[lead] < kPoor ? 1 : 0;
        }
        leads.push_back({kNothing, poor / static_cast<double>(values.size())});
        leads.back().median = Median(std::move(values));
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
