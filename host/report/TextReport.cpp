#include "host/report/TextReport.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "host/report/Findings.h"
#include "host/results/Summaries.h"
#include "host/support/Text.h"
#include "host/support/TextTable.h"

namespace {

constexpr std::size_t kLeadsPerTable = 12;
constexpr std::size_t kRateWidth = 10;
constexpr int kLeadWidth = 6;
constexpr int kSlopeWidth = 7;  // "uV/ms" and a gap

// One quantity of all leads over time.
struct Quantity {
    const char* title;
    const char* unit;
    std::size_t width;
    int decimals;
    std::vector<double> MinuteRow::*values;
};

void PrintTrend(std::ostream& out, const StressResult& result, const std::vector<MinuteRow>& rows,
                const Quantity& quantity) {
    const std::vector<std::string>& leads = result.source.leads;
    for (std::size_t first = 0; first < leads.size(); first += kLeadsPerTable) {
        const std::size_t end = std::min(leads.size(), first + kLeadsPerTable);
        out << "\n" << quantity.title << "\n" << Cell("from", kTimeWidth) << Cell("HR", kRateWidth);
        for (std::size_t lead = first; lead < end; ++lead) out << NameCell(leads[lead], quantity.width);
        out << "\n" << Cell("min:s", kTimeWidth) << Cell("beats/min", kRateWidth);
        for (std::size_t lead = first; lead < end; ++lead) out << Cell(quantity.unit, quantity.width);
        out << "\n";
        for (const MinuteRow& row : rows) {
            out << Cell(Clock(row.fromSeconds), kTimeWidth) << Cell(Number(row.bpm, 1), kRateWidth);
            for (std::size_t lead = first; lead < end; ++lead)
                out << Cell(Number((row.*quantity.values)[lead], quantity.decimals), quantity.width);
            out << "\n";
        }
    }
}

void PrintLearned(std::ostream& out, const StressResult& result) {
    const LearnedBeat& learned = result.learned;
    const BeatPositionsMs& at = result.positions;
    if (learned.rows.empty()) {
        out << "Averaged beat: none\n";
        return;
    }
    out << "Averaged beat: learned from " << DescribeLearning(result) << ", correlation "
        << Number(learned.likeness, 3) << "\n"
        << "  Q onset " << Number(at.q, 0) << " ms, R upstroke " << Number(at.r, 0) << " ms, J point "
        << Number(at.j, 0) << " ms from its start; QRS " << Number(at.j - at.q, 0) << " ms; length "
        << Number(at.length, 0) << " ms\n";
    std::string unusable;
    for (std::size_t lead = 0; lead < learned.usable.size(); ++lead) {
        if (!learned.usable[lead]) unusable += " " + result.source.leads[lead];
    }
    if (!unusable.empty())
        out << "  Leads matched alone, as noisy, unlike or off while learning:" << unusable << "\n";
}

void PrintExtremes(std::ostream& out, const StressResult& result) {
    const std::vector<LeadExtremes> extremes = FindExtremes(result);
    if (extremes.empty()) return;
    out << "\nExtremes of the ST level\n"
        << Cell("lead", kTimeWidth) << Cell("lowest", kFigureWidth) << Cell("at", kFigureWidth)
        << Cell("highest", kFigureWidth) << Cell("at", kFigureWidth) << "\n"
        << Cell("", kTimeWidth) << Cell("uV", kFigureWidth) << Cell("min:s", kFigureWidth)
        << Cell("uV", kFigureWidth) << Cell("min:s", kFigureWidth) << "\n";
    for (std::size_t lead = 0; lead < extremes.size(); ++lead) {
        const LeadExtremes& e = extremes[lead];
        out << NameCell(result.source.leads[lead], kTimeWidth) << Cell(Number(e.lowestUv, 0), kFigureWidth)
            << Cell(Clock(e.lowestSeconds), kFigureWidth) << Cell(Number(e.highestUv, 0), kFigureWidth)
            << Cell(Clock(e.highestSeconds), kFigureWidth) << "\n";
    }
}

void PrintExercise(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise) {
    out << "Peak heart rate, " << PeakStretch(result) << ": " << Number(exercise.peakBpm, 0)
        << " beats/min at " << Clock(exercise.peakSeconds) << "\n";
    if (!exercise.stLead.empty()) out << "Largest ST change: " << DescribeLargestST(result, exercise) << "\n";
    if (exercise.sthrIndexLead) out << "ST/HR index " << DescribeSTHRIndex(result, exercise) << "\n";
    if (exercise.sthrSlopeLead) out << "ST/HR slope " << DescribeSTHRSlope(result, exercise) << "\n";
    if (exercise.duke)
        out << "Duke score " << DescribeDuke(exercise) << "\n  exercise " << Clock(*exercise.exerciseSeconds)
            << " min:s, angina " << DescribeAngina(exercise) << "\n  " << DescribeDukeST(result, exercise)
            << "\n";
    for (std::size_t i = 0; i < kPwcRates.size(); ++i) {
        if (exercise.pwcWatts[i])
            out << "PWC" << kPwcRates[i] << " " << Number(*exercise.pwcWatts[i], 0) << " W\n";
    }
}

}  // namespace

void PrintReport(std::ostream& out, const StressResult& result, const ExerciseSummary& exercise) {
    out << result.source.name << ": " << Counted(result.source.leads.size(), "lead") << ", "
        << result.source.fs << " Hz, " << Clock(result.seconds) << " min:s\n"
        << "Conditioning: " << result.conditioning << "; delay " << Number(result.delayMs, 0)
        << " ms, taken off all times\n";
    PrintLearned(out, result);
    out << "Reference of ST changes: " << DescribeReference(result) << "\n";

    const std::vector<MinuteRow> rows = SummarizeMinutes(result);
    const std::string level = "ST level at " + result.stPoint.Describe() + ", median of the minute";
    const std::string slope = "ST slope up to there, median of the minute";
    PrintTrend(out, result, rows, {level.c_str(), "uV", kLeadWidth, 0, &MinuteRow::levelUv});
    PrintTrend(out, result, rows, {slope.c_str(), "uV/ms", kSlopeWidth, 2, &MinuteRow::slopeUvPerMs});
    PrintExtremes(out, result);
    out << "\nBeats: " << DescribeBeats(result) << "\n";
    for (const BeatCounts& counts : CountBeats(result, exercise.stages))
        out << (counts.stretch.empty() ? "Ectopic beats" : "  " + counts.stretch) << ": "
            << DescribeEctopy(counts) << "\n";
    PrintExercise(out, result, exercise);
}
