#include "host/results/Evaluate.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>

#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kWindowSeconds = 0.15 + 1e-6;  // 150 ms as EC57 sets it, plus floating-point slack

double Part(int part, int rest) {
    return part + rest > 0 ? static_cast<double>(part) / (part + rest) : kNothing;
}

// The spans are in order of time and apart from each other.
bool LiesIn(const std::vector<Span>& spans, double seconds) {
    const auto after = std::upper_bound(spans.begin(), spans.end(), seconds,
                                        [](double s, const Span& span) { return s < span.fromSeconds; });
    return after != spans.begin() && seconds < (after - 1)->toSeconds;
}

struct Pair {
    std::size_t found = 0, reference = 0;
    double offset = 0;  // seconds, found less reference
};

// All that are near enough, the nearest first.
std::vector<Pair> PossiblePairs(const std::vector<double>& found, const std::vector<double>& reference) {
    std::vector<Pair> pairs;
    std::size_t first = 0;
    for (std::size_t f = 0; f < found.size(); ++f) {
        while (first < reference.size() && found[f] - reference[first] > kWindowSeconds) ++first;
        for (std::size_t r = first; r < reference.size() && reference[r] - found[f] <= kWindowSeconds; ++r)
            pairs.push_back({f, r, found[f] - reference[r]});
    }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair& a, const Pair& b) { return std::abs(a.offset) < std::abs(b.offset); });
    return pairs;
}

}  // namespace

double BeatScore::Sensitivity() const { return Part(right, missed); }
double BeatScore::PositivePredictivity() const { return Part(right, extra); }

BeatScore ScoreBeats(const std::vector<double>& foundSeconds, const std::vector<double>& referenceSeconds,
                     const std::vector<Span>& uncounted) {
    BeatScore score;
    std::vector<double> offsets;
    std::vector<bool> foundPaired(foundSeconds.size()), referencePaired(referenceSeconds.size());
    for (const Pair& pair : PossiblePairs(foundSeconds, referenceSeconds)) {
        if (foundPaired[pair.found] || referencePaired[pair.reference]) continue;
        foundPaired[pair.found] = referencePaired[pair.reference] = true;
        if (LiesIn(uncounted, referenceSeconds[pair.reference])) continue;
        ++score.right;
        offsets.push_back(pair.offset * kMsPerSecond);
    }
    const auto countAlone = [&](const std::vector<double>& beats, const std::vector<bool>& paired) {
        int alone = 0;
        for (std::size_t i = 0; i < beats.size(); ++i) alone += !paired[i] && !LiesIn(uncounted, beats[i]);
        return alone;
    };
    score.extra = countAlone(foundSeconds, foundPaired);
    score.missed = countAlone(referenceSeconds, referencePaired);
    score.offsetMs = Median(std::move(offsets));
    return score;
}

Evaluation Evaluate(const StressResult& result, const std::vector<Annotation>& found, const Truth& truth,
                    double skipSeconds) {
    std::vector<double> foundSeconds;
    for (const Annotation& beat : found)
        foundSeconds.push_back(static_cast<double>(beat.sample) / result.source.fs);

    StressResult counted;
    counted.source = result.source;
    std::vector<Span> uncounted{{-std::numeric_limits<double>::infinity(), skipSeconds}};
    for (const Span& span : truth.fibrillation)
        if (span.toSeconds > skipSeconds)
            uncounted.push_back({std::max(span.fromSeconds, skipSeconds), span.toSeconds});
    const auto isCounted = [&](const auto& reading) { return !LiesIn(uncounted, reading.seconds); };
    std::copy_if(result.rates.begin(), result.rates.end(), std::back_inserter(counted.rates), isCounted);
    std::copy_if(result.beats.begin(), result.beats.end(), std::back_inserter(counted.beats), isCounted);
    return {result.source.name, result.source.leads, ScoreBeats(foundSeconds, truth.beatSeconds, uncounted),
            CompareWithTruth(counted, truth)};
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

void WriteEvaluationJson(PendingFile& file, const Evaluation& evaluation) {
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
    file.Stream() << all.dump(1, ' ', false, Json::error_handler_t::replace) << '\n';
}
