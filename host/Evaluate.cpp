#include "host/Evaluate.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/PendingFile.h"
#include "host/Report.h"
#include "host/Text.h"

namespace {

constexpr double kWindowSeconds = 0.15;
constexpr std::ptrdiff_t kIntervals = 5;  // of the reference heart rate
constexpr double kSecondsPerMinute = 60.0;
constexpr double kMsPerSecond = 1000.0;
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

double Part(int part, int rest) {
    return part + rest > 0 ? static_cast<double>(part) / (part + rest) : kNothing;
}

// The reference heart rate at a time; NaN before the second beat.
double ReferenceBpm(const std::vector<double>& beats, double seconds) {
    const auto end = std::upper_bound(beats.begin(), beats.end(), seconds);
    const auto first = end - std::min(kIntervals + 1, end - beats.begin());
    std::vector<double> intervals;
    for (auto beat = first; beat != end && beat + 1 != end; ++beat) intervals.push_back(*(beat + 1) - *beat);
    return kSecondsPerMinute / Median(std::move(intervals));
}

std::vector<double> From(const std::vector<double>& seconds, double skip) {
    return {std::lower_bound(seconds.begin(), seconds.end(), skip), seconds.end()};
}

}  // namespace

double BeatScore::Sensitivity() const { return Part(right, missed); }
double BeatScore::PositivePredictivity() const { return Part(right, extra); }

BeatScore ScoreBeats(const std::vector<double>& foundSeconds, const std::vector<double>& referenceSeconds,
                     double skipSeconds) {
    const std::vector<double> found = From(foundSeconds, skipSeconds);
    const std::vector<double> reference = From(referenceSeconds, skipSeconds);
    BeatScore score;
    std::vector<double> offsets;
    std::size_t f = 0, r = 0;
    while (f < found.size() && r < reference.size()) {
        const double offset = found[f] - reference[r];
        if (std::abs(offset) <= kWindowSeconds) {
            // A pair, unless the next of either side is nearer.
            if (f + 1 < found.size() && std::abs(found[f + 1] - reference[r]) < std::abs(offset)) {
                ++score.extra, ++f;
            } else if (r + 1 < reference.size() && std::abs(found[f] - reference[r + 1]) < std::abs(offset)) {
                ++score.missed, ++r;
            } else {
                ++score.right, ++f, ++r;
                offsets.push_back(offset * kMsPerSecond);
            }
        } else if (offset < 0) {
            ++score.extra, ++f;
        } else {
            ++score.missed, ++r;
        }
    }
    score.extra += static_cast<int>(found.size() - f);
    score.missed += static_cast<int>(reference.size() - r);
    score.offsetMs = Median(std::move(offsets));
    return score;
}

Evaluation Evaluate(const StressResult& result, const std::vector<Annotation>& found,
                    const Reference& reference, double skipSeconds) {
    std::vector<double> foundSeconds;
    for (const Annotation& beat : found)
        foundSeconds.push_back(static_cast<double>(beat.sample) / result.source.fs);

    StressResult counted;
    counted.source = result.source;
    const auto isCounted = [&](const auto& reading) { return reading.seconds >= skipSeconds; };
    std::copy_if(result.rates.begin(), result.rates.end(), std::back_inserter(counted.rates), isCounted);
    std::copy_if(result.beats.begin(), result.beats.end(), std::back_inserter(counted.beats), isCounted);
    const Truth beatsAlone{
        [&](double seconds) { return ReferenceBpm(reference.beatSeconds, seconds); }, {}, {}};
    return {result.source.name, result.source.leads,
            ScoreBeats(foundSeconds, reference.beatSeconds, skipSeconds),
            CompareWithTruth(counted, reference.truth ? *reference.truth : beatsAlone)};
}

void PrintEvaluation(std::ostream& out, const Evaluation& evaluation) {
    const BeatScore& beats = evaluation.beats;
    out << evaluation.record << " against its reference\n"
        << "  beats: " << beats.right << " right, " << beats.missed << " missed, " << beats.extra
        << " extra; sensitivity " << Number(beats.Sensitivity() * 100, 2) << " %, positive predictivity "
        << Number(beats.PositivePredictivity() * 100, 2) << " %; found " << Number(beats.offsetMs, 0)
        << " ms after the reference in the median\n";
    PrintAccuracy(out, evaluation.leads, evaluation.accuracy);
}

void WriteEvaluationJson(const std::string& path, const Evaluation& evaluation) {
    using Json = nlohmann::ordered_json;
    const auto value = [](double number) { return std::isnan(number) ? Json() : Json(number); };
    const BeatScore& beats = evaluation.beats;
    const Accuracy& accuracy = evaluation.accuracy;
    Json leads = Json::array();
    for (std::size_t lead = 0; lead < accuracy.levelUv.size(); ++lead)
        leads.push_back({{"name", evaluation.leads[lead]},
                         {"st_level_error_median_uv", value(accuracy.levelUv[lead].median)},
                         {"st_level_error_largest_uv", value(accuracy.levelUv[lead].maximum)},
                         {"st_slope_error_median_uv_per_ms", value(accuracy.slopeUvPerMs[lead].median)},
                         {"st_slope_error_largest_uv_per_ms", value(accuracy.slopeUvPerMs[lead].maximum)}});
    const Json all = {{"schema", "qzstress-evaluation-1"},
                      {"record", evaluation.record},
                      {"beats",
                       {{"right", beats.right},
                        {"missed", beats.missed},
                        {"extra", beats.extra},
                        {"sensitivity", value(beats.Sensitivity())},
                        {"positive_predictivity", value(beats.PositivePredictivity())},
                        {"offset_median_ms", value(beats.offsetMs)}}},
                      {"heart_rate_error_median_per_min", value(accuracy.bpm.median)},
                      {"heart_rate_error_largest_per_min", value(accuracy.bpm.maximum)},
                      {"leads", leads}};
    PendingFile file(path);
    file.Stream() << all.dump(1, ' ', false, Json::error_handler_t::replace) << '\n';
    file.Commit();
}
