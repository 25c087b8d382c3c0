#include "host/results/Evaluate.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/results/Summaries.h"
#include "host/support/Json.h"
#include "host/support/Text.h"

namespace {

std::string Percent(double part) { return Number(part * 100, 2) + " %"; }

void PrintHits(std::ostream& out, const char* what, const Hits& hits) {
    out << "  " << what << ": " << hits.right << " right, " << hits.missed << " missed, " << hits.extra
        << " extra; sensitivity " << Percent(hits.Sensitivity()) << ", positive predictivity "
        << Percent(hits.PositivePredictivity());
}

void PrintOffset(std::ostream& out, const char* what, const OffsetSize& size) {
    out << what << " mean " << Number(size.meanMs, 1) << " ms, SD " << Number(size.sdMs, 1) << " ms ("
        << size.count << " beats)";
}

Json HitsJson(const Hits& hits) {
    return {{"right", hits.right},
            {"missed", hits.missed},
            {"extra", hits.extra},
            {"sensitivity", Value(hits.Sensitivity())},
            {"positive_predictivity", Value(hits.PositivePredictivity())}};
}

Json OffsetJson(const OffsetSize& size) {
    return {{"beats", size.count}, {"mean_ms", Value(size.meanMs)}, {"sd_ms", Value(size.sdMs)}};
}

Json RawSTJson(const Evaluation& evaluation) {
    const RawSTScore& score = evaluation.rawST;
    if (score.halfMinutes == 0) return {};
    return {{"half_minutes", score.halfMinutes},        {"within_15_uv", score.within15Uv},
            {"within_40_uv", score.within40Uv},         {"difference_median_uv", score.medianUv},
            {"difference_95_percent_uv", score.mostUv}, {"worst_lead", evaluation.leads[score.worst.lead]},
            {"worst_s", score.worst.span.fromSeconds},  {"worst_told_uv", score.worst.toldUv},
            {"worst_raw_uv", score.worst.rawUv}};
}

Json QualityJson(const Evaluation& evaluation) {
    Json leads = Json::array();
    for (std::size_t lead = 0; lead < evaluation.quality.size(); ++lead)
        leads.push_back({{"name", evaluation.leads[lead]},
                         {"median", Value(evaluation.quality[lead].median)},
                         {"poor_part", Value(evaluation.quality[lead].poorPart)}});
    return leads;
}

Json LeadsJson(const Evaluation& evaluation) {
    const Accuracy& accuracy = evaluation.accuracy;
    Json leads = Json::array();
    for (std::size_t lead = 0; lead < accuracy.levelUv.size(); ++lead)
        leads.push_back({{"name", evaluation.leads[lead]},
                         {"st_level_error_median_uv", Value(accuracy.levelUv[lead].median)},
                         {"st_level_error_largest_uv", Value(accuracy.levelUv[lead].maximum)},
                         {"st_slope_error_median_uv_per_ms", Value(accuracy.slopeUvPerMs[lead].median)},
                         {"st_slope_error_largest_uv_per_ms", Value(accuracy.slopeUvPerMs[lead].maximum)}});
    return leads;
}

}  // namespace

Evaluation Evaluate(const StressResult& result, const std::vector<Annotation>& found, const Truth& truth,
                    double skipSeconds) {
    std::vector<MarkedBeat> foundBeats;
    for (const Annotation& beat : found)
        foundBeats.push_back({static_cast<double>(beat.sample) / result.source.fs, beat.code});

    std::vector<Span> uncounted{{-std::numeric_limits<double>::infinity(), skipSeconds}};
    for (const Span& span : truth.uncounted)
        if (span.toSeconds > skipSeconds)
            uncounted.push_back({std::max(span.fromSeconds, skipSeconds), span.toSeconds});
    const auto copyCounted = [&](const auto& from, auto& to) {
        std::copy_if(from.begin(), from.end(), std::back_inserter(to),
                     [&](const auto& timed) { return !LiesIn(uncounted, timed.seconds); });
    };
    StressResult counted;
    counted.source = result.source;
    copyCounted(result.rates, counted.rates);
    copyCounted(result.beats, counted.beats);
    std::vector<QrsMark> marks;
    copyCounted(truth.qrs, marks);
    std::vector<STChange> changes = CompareSTChanges(result, truth.st);
    std::erase_if(changes, [&](const STChange& change) { return change.seconds < skipSeconds; });

    Evaluation evaluation{result.source.name,
                          result.source.leads,
                          ScoreBeats(TimesOf(foundBeats), TimesOf(truth.beats), uncounted),
                          std::nullopt,
                          ScoreRate(result, truth, uncounted),
                          ScoreFolding(result.beats, truth.beats, uncounted),
                          ScoreFiducials(result, marks),
                          std::move(changes),
                          CompareWithTruth(counted, truth),
                          {},
                          SummarizeQuality(result)};
    if (truth.classesKnown) evaluation.classes = ScoreClasses(foundBeats, truth.beats, uncounted);
    return evaluation;
}

void PrintEvaluation(std::ostream& out, const Evaluation& evaluation) {
    const BeatScore& beats = evaluation.beats;
    const RateScore& rate = evaluation.rate;
    const FoldingScore& folding = evaluation.folding;
    const FiducialScore& fiducials = evaluation.fiducials;
    out << evaluation.record << " against its reference\n";
    PrintHits(out, "beats", beats);
    out << "; found " << Number(beats.offsetMs, 0) << " ms after the reference in the median\n";
    if (evaluation.classes) {
        PrintHits(out, "ventricular beats", evaluation.classes->ventricular);
        PrintHits(out << "\n", "supraventricular beats", evaluation.classes->supraventricular);
        out << "\n";
    }
    out << "  heart rate shown: right in " << Percent(rate.Part()) << " of "
        << rate.right + rate.wrong + rate.none << " s, wrong " << rate.wrong << " s, none " << rate.none
        << " s\n  normal beats: " << folding.folded << " of " << folding.normal << " folded, "
        << Percent(folding.Part()) << "; longest hole without ST " << Number(folding.holeSeconds, 1)
        << " s, from " << Clock(folding.holeFromSeconds) << " min:s\n";
    if (fiducials.marked > 0) {
        PrintOffset(out << "  hand marks of " << fiducials.marked << " beats: QRS onset", "",
                    fiducials.onset);
        PrintOffset(out, "; J", fiducials.end);
        out << "\n";
    }
    for (const STChange& change : evaluation.stChanges)
        out << "  ST change of " << evaluation.leads[change.lead] << " at " << Clock(change.seconds)
            << " min:s: marked " << Number(change.markedUv, 0) << " uV, measured "
            << Number(change.measuredUv, 0) << " uV, on the raw signal " << Number(change.rawUv, 0)
            << " uV\n";
    const RawSTScore& rawST = evaluation.rawST;
    if (rawST.halfMinutes > 0)
        out << "  ST of " << rawST.halfMinutes << " half minutes against the raw signal: difference median "
            << Number(rawST.medianUv, 0) << " uV, 95 % up to " << Number(rawST.mostUv, 0) << " uV; worst "
            << evaluation.leads[rawST.worst.lead] << " from " << Clock(rawST.worst.span.fromSeconds)
            << " min:s, told " << Number(rawST.worst.toldUv, 0) << " uV, raw " << Number(rawST.worst.rawUv, 0)
            << " uV\n";
    PrintAccuracy(out, evaluation.leads, evaluation.accuracy);
}

void WriteEvaluationJson(PendingFile& file, const Evaluation& evaluation) {
    const RateScore& rate = evaluation.rate;
    const FoldingScore& folding = evaluation.folding;
    const FiducialScore& fiducials = evaluation.fiducials;
    Json beats = HitsJson(evaluation.beats), classes, changes = Json::array();
    beats["offset_median_ms"] = Value(evaluation.beats.offsetMs);
    if (evaluation.classes)
        classes = {{"ventricular", HitsJson(evaluation.classes->ventricular)},
                   {"supraventricular", HitsJson(evaluation.classes->supraventricular)}};
    for (const STChange& change : evaluation.stChanges)
        changes.push_back({{"lead", evaluation.leads[change.lead]},
                           {"time_s", change.seconds},
                           {"marked_uv", change.markedUv},
                           {"measured_uv", Value(change.measuredUv)},
                           {"raw_uv", Value(change.rawUv)}});
    const Json all = {{"schema", "qzstress-evaluation-1"},
                      {"record", evaluation.record},
                      {"beats", beats},
                      {"classes", classes},
                      {"heart_rate_shown",
                       {{"right_s", rate.right},
                        {"wrong_s", rate.wrong},
                        {"none_s", rate.none},
                        {"right_part", Value(rate.Part())}}},
                      {"normal_beats",
                       {{"reference", folding.normal},
                        {"folded", folding.folded},
                        {"folded_part", Value(folding.Part())},
                        {"longest_hole_s", Value(folding.holeSeconds)},
                        {"longest_hole_from_s", Value(folding.holeFromSeconds)}}},
                      {"hand_marks",
                       {{"beats", fiducials.marked},
                        {"qrs_onset", OffsetJson(fiducials.onset)},
                        {"j", OffsetJson(fiducials.end)}}},
                      {"st_changes", changes},
                      {"st_against_raw", RawSTJson(evaluation)},
                      {"heart_rate_error_median_per_min", Value(evaluation.accuracy.bpm.median)},
                      {"heart_rate_error_largest_per_min", Value(evaluation.accuracy.bpm.maximum)},
                      {"signal_quality", QualityJson(evaluation)},
                      {"leads", LeadsJson(evaluation)}};
    file.Stream() << all.dump(1, ' ', false, Json::error_handler_t::replace) << '\n';
}
