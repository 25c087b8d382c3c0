#include "host/report/SummaryPage.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/report/TrendPlot.h"
#include "host/support/Text.h"

namespace {

constexpr double kLabelMm = 23;
constexpr double kColumnGapMm = 6;
constexpr double kLowestPlotMm = 50, kTallestPlotMm = 95;
constexpr double kGapMm = 7;
constexpr double kTableBelowTitleMm = 2;
constexpr TextStyle kSection{9, true, kInk};
constexpr TextStyle kSmall{7, false, kMuted};

// Facts in three columns, the one with the filters the widest.
double DrawHeader(Canvas& canvas, const Findings& findings) {
    const std::vector<Fact> facts = ListFacts(findings);
    constexpr std::size_t kPerColumn = 4;
    constexpr std::array kWidthsMm{82.0, 96.0, 83.0};
    double used = 0, x = kContents.x;
    for (std::size_t column = 0; column < kWidthsMm.size(); ++column) {
        const Fact* const first = facts.data() + std::min(facts.size(), column * kPerColumn);
        const Fact* const last =
            column + 1 == kWidthsMm.size() ? facts.data() + facts.size() : first + kPerColumn;
        const Box box{x, kContents.y - 1, kWidthsMm[column], 0};
        used = std::max(used, DrawFacts(canvas, box, kLabelMm, 3, {first, last}));
        x += kWidthsMm[column] + kColumnGapMm;
    }
    return kContents.y - 1 + used;
}

ValueAxis ChooseRateAxis(const StressResult& result, double peakBpm) {
    std::vector<double> bpm;
    for (const RateReading& rate : result.rates)
        if (std::isfinite(rate.bpm)) bpm.push_back(rate.bpm);
    double lowest = 60, highest = 120;
    if (!bpm.empty()) {
        // A single wrong reading must not flatten the course.
        std::sort(bpm.begin(), bpm.end());
        const std::size_t tail = bpm.size() / 200;
        lowest = bpm[tail];
        highest = std::max(bpm[bpm.size() - 1 - tail], peakBpm > 0 ? peakBpm : 0);
    }
    return ChooseValueAxis(std::max(0.0, lowest - 5), highest + 12, 10, 9);
}

void MarkPeak(Canvas& canvas, const TrendPlot& plot, const ExerciseSummary& exercise) {
    if (!(exercise.peakBpm > 0)) return;
    const Point peak{plot.X(exercise.peakSeconds), plot.Y(exercise.peakBpm)};
    const std::string label =
        "30 s peak " + Number(exercise.peakBpm, 0) + " at " + LongClock(exercise.peakSeconds);
    TextStyle style{7.5, true, kAccent};
    const double width = canvas.MeasureText(label, style);
    const bool isToTheLeft = peak.x + 2.5 + width > plot.Area().Right();
    style.align = isToTheLeft ? Align::Right : Align::Left;
    canvas.DrawRing(peak, 0.9, {kAccent, 0.4});
    canvas.DrawText({peak.x + (isToTheLeft ? -2.5 : 2.5), std::max(peak.y - 1.8, plot.Area().y + 3)}, label,
                    style);
}

void DrawHeartRate(Canvas& canvas, const Findings& findings, const Box& box) {
    const StressResult& result = findings.result;
    canvas.DrawText({box.x, box.y}, "Heart rate", kSection);
    const TimeAxis time = ChooseTimeAxis(result.seconds, 24);
    canvas.DrawText({box.x + 21, box.y}, std::string("beats/min, time in ") + time.unit, kSmall);
    const Box area{box.x + 9, box.y + 9, box.width - 9, box.height - 14};
    const TrendPlot plot(area, time, ChooseRateAxis(result, findings.exercise.peakBpm));
    plot.DrawStages(canvas, findings.exercise.stages, true);
    plot.DrawAxes(canvas, 7, true, true);
    std::vector<TrendPoint> readings;
    for (const RateReading& rate : result.rates) readings.push_back({rate.seconds, rate.bpm});
    plot.DrawCourse(canvas, readings, {kBlue, 0.35});
    for (const double seconds : result.relearnedSeconds)
        canvas.FillDisc({plot.X(seconds), area.Bottom()}, 0.8, kAccent);
    MarkPeak(canvas, plot, findings.exercise);
    if (readings.empty())
        canvas.DrawText({area.x + area.width / 2, area.y + area.height / 2}, "no heart rate was found",
                        {9, false, kMuted, Align::Centre});
}

void DrawStageTable(Canvas& canvas, const Findings& findings, const Box& box) {
    canvas.DrawText({box.x, box.y}, "Stages", kSection);
    const ReportTable table = MakeStageTable(findings);
    if (table.rows.empty()) {
        canvas.DrawText({box.x, box.y + 5}, "No stages within the recording were given.",
                        {7.5, false, kMuted});
        return;
    }
    canvas.DrawText({box.x + 16, box.y}, "heart rate and ST: medians of the last minute", kSmall);
    Box area{box.x, box.y + kTableBelowTitleMm, box.width, box.height - kTableBelowTitleMm};
    // Keeps one row for "and N more stages".
    if (kHeadRowsMm + static_cast<double>(table.rows.size()) * kRowMm > area.height) area.height -= kRowMm;
    const std::size_t next = DrawTable(canvas, area, table);
    if (next < table.rows.size())
        canvas.DrawText(
            {box.x + 1.2, box.Bottom() - 1.2},
            "and " + std::to_string(table.rows.size() - next) + " more stages, listed in full in HTML",
            kSmall);
}

void DrawResults(Canvas& canvas, const Findings& findings, const Box& box) {
    canvas.DrawText({box.x, box.y}, "Results", kSection);
    double y = box.y + 3;
    y += DrawFacts(canvas, {box.x, y, box.width, 0}, 32, 2, ListResults(findings));
    const std::vector<std::string> warnings = ListWarnings(findings);
    if (warnings.empty()) return;
    y += 4;
    canvas.DrawText({box.x, y}, "Warnings", {9, true, kAccent});
    y += 1.5;
    for (std::size_t i = 0; i < warnings.size(); ++i) {
        const bool isLast = y + 10 > box.Bottom() && i + 1 < warnings.size();
        const std::string text =
            isLast ? "and " + std::to_string(warnings.size() - i) + " more, on the last page" : warnings[i];
        y += 0.8 + canvas.DrawParagraph({box.x, y}, box.width, 2, text, {7, false, kInk});
        if (isLast) break;
    }
}

void DrawSummary(Canvas& canvas, const Findings& findings) {
    const double top = DrawHeader(canvas, findings) + 5;
    // The plot takes what the stages and results below it leave.
    const double stagesMm = kTableBelowTitleMm + kHeadRowsMm +
                            static_cast<double>(findings.exercise.stages.size()) * kRowMm + 0.1;
    const double resultsMm =
        59 + 9 * static_cast<double>(std::min<std::size_t>(ListWarnings(findings).size(), 4));
    const double plotMm = std::clamp(kContents.Bottom() - top - kGapMm - std::max(stagesMm, resultsMm),
                                     kLowestPlotMm, kTallestPlotMm);
    DrawHeartRate(canvas, findings, {kContents.x, top, kContents.width, plotMm});
    const double lower = top + plotMm + kGapMm;
    const double height = kContents.Bottom() - lower;
    DrawStageTable(canvas, findings, {kContents.x, lower, 150, height});
    DrawResults(canvas, findings, {kContents.x + 162, lower, kContents.width - 162, height});
}

}  // namespace

void AddSummaryPage(const Findings& findings, std::vector<ReportPage>& pages) {
    pages.push_back({"Exercise ECG report", [&findings](Canvas& canvas) { DrawSummary(canvas, findings); }});
}
