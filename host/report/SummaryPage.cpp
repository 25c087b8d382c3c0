#include "host/report/SummaryPage.h"

#include <algorithm>
#include <cmath>

#include "host/report/TrendPlot.h"
#include "host/support/Text.h"

namespace {

constexpr double kLabelMm = 19;
// A text of the header has so many lines, each of at least so many letters.
constexpr int kHeaderLines = 5, kRecordLines = 3;
constexpr std::size_t kLineLetters = 36;
constexpr int kResultLines = 4;
constexpr std::size_t kResultLetters = 60;
constexpr double kResultLabelMm = 34;
constexpr double kColumnGapMm = 6;
constexpr double kLowestPlotMm = 40, kTallestPlotMm = 80;
constexpr double kFootMm = 30;  // of warnings and conclusion
constexpr double kGapMm = 6;
constexpr double kBelowTitleMm = 3;
constexpr TextStyle kSection{9, true, kInk};
constexpr TextStyle kSmall{7, false, kMuted};

// Facts in three columns, as even as can be. Returns the height used, mm.
double DrawColumns(Canvas& canvas, double y, int lines, const std::vector<Fact>& facts) {
    constexpr std::size_t kColumns = 3;
    constexpr double kWidthMm = (kContents.width - (kColumns - 1) * kColumnGapMm) / kColumns;
    const std::size_t perColumn = (facts.size() + kColumns - 1) / kColumns;
    double used = 0, x = kContents.x;
    for (std::size_t first = 0; first < facts.size(); first += perColumn, x += kWidthMm + kColumnGapMm) {
        const auto begin = facts.begin() + static_cast<std::ptrdiff_t>(first);
        const auto end =
            facts.begin() + static_cast<std::ptrdiff_t>(std::min(facts.size(), first + perColumn));
        used = std::max(used, DrawFacts(canvas, {x, y, kWidthMm, 0}, kLabelMm, lines, {begin, end}));
    }
    return used;
}

// The patient in full, above the recording; texts too long for this page stand on one of their own.
double DrawHeader(Canvas& canvas, const Findings& findings) {
    double y = kContents.y - 1;
    y += DrawColumns(canvas, y, kHeaderLines, ListPatient(findings));
    canvas.DrawLine({kContents.x, y + 0.5}, {kContents.Right(), y + 0.5}, {kRule, 0.2});
    y += 2;
    return y + DrawColumns(canvas, y, kRecordLines, ListFacts(findings));
}

void MarkPeak(Canvas& canvas, const TrendPlot& plot, const Findings& findings) {
    const ExerciseSummary& exercise = findings.exercise;
    if (!(exercise.peakBpm > 0)) return;
    const Point peak{plot.X(exercise.peakSeconds), plot.Y(exercise.peakBpm)};
    const std::string label =
        findings.tr("30 s peak " + Number(exercise.peakBpm, 0) + " at " + LongClock(exercise.peakSeconds));
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
    const double titleMm = canvas.DrawText({box.x, box.y}, findings.tr("Heart rate"), kSection);
    const TimeAxis time = ChooseTimeAxis(result.seconds, 24);
    canvas.DrawText({box.x + titleMm + 3, box.y}, findings.tr(std::string("beats/min, time in ") + time.unit),
                    kSmall);
    const Box area{box.x + 9, box.y + 9, box.width - 9, box.height - 14};
    const TrendPlot plot(area, time, ChooseRateAxis(result, findings.exercise.peakBpm));
    plot.DrawStages(canvas, findings.exercise.stages, true);
    plot.DrawAxes(canvas, 7, true, true);
    std::vector<TrendPoint> readings;
    for (const RateReading& rate : result.rates) readings.push_back({rate.seconds, rate.bpm});
    plot.DrawCourse(canvas, readings, {kBlue, 0.35});
    for (const double seconds : result.relearnedSeconds)
        canvas.FillDisc({plot.X(seconds), area.Bottom()}, 0.8, kAccent);
    MarkPeak(canvas, plot, findings);
    if (readings.empty())
        canvas.DrawText({area.x + area.width / 2, area.y + area.height / 2},
                        findings.tr("no heart rate was found"), {9, false, kMuted, Align::Centre});
}

// Results in two columns. Returns the height used, mm.
double DrawResults(Canvas& canvas, const Findings& findings, double top) {
    canvas.DrawText({kContents.x, top}, findings.tr("Results"), kSection);
    const std::vector<Fact> results = ListResults(findings);
    const auto middle = results.begin() + (std::ssize(results) + 1) / 2;
    const double width = (kContents.width - kColumnGapMm) / 2, y = top + kBelowTitleMm;
    return kBelowTitleMm + std::max(DrawFacts(canvas, {kContents.x, y, width, 0}, kResultLabelMm,
                                              kResultLines, {results.begin(), middle}),
                                    DrawFacts(canvas, {kContents.Right() - width, y, width, 0},
                                              kResultLabelMm, kResultLines, {middle, results.end()}));
}

// As many as have room; the last page has them all.
void DrawWarnings(Canvas& canvas, const Findings& findings, const Box& box) {
    const std::vector<std::string> warnings = ListWarnings(findings);
    if (warnings.empty()) return;
    canvas.DrawText({box.x, box.y}, findings.tr("Warnings"), {9, true, kAccent});
    double y = box.y + 1.5;
    for (std::size_t i = 0; i < warnings.size(); ++i) {
        const bool isLast = y + 10 > box.Bottom() && i + 1 < warnings.size();
        const std::string text =
            isLast ? findings.tr("and " + std::to_string(warnings.size() - i) + " more, on the last page")
                   : warnings[i];
        y += 0.8 + canvas.DrawParagraph({box.x, y}, box.width, 2, text, {7, false, kInk});
        if (isLast) break;
    }
}

// Room to write by hand.
void DrawConclusion(Canvas& canvas, const Language& tr, const Box& box) {
    constexpr double kDateMm = 30;
    canvas.DrawText({box.x, box.y}, tr("Conclusion"), kSection);
    const double y = box.Bottom() - 3.5;
    canvas.DrawLine({box.x, y}, {box.x + kDateMm, y}, {kMuted, 0.2});
    canvas.DrawText({box.x, box.Bottom()}, tr("Date"), kSmall);
    canvas.DrawLine({box.x + kDateMm + kColumnGapMm, y}, {box.Right(), y}, {kMuted, 0.2});
    canvas.DrawText({box.x + kDateMm + kColumnGapMm, box.Bottom()}, tr("Name and signature"), kSmall);
}

void DrawSummary(Canvas& canvas, const Findings& findings) {
    double y = DrawHeader(canvas, findings) + 5;
    y += DrawResults(canvas, findings, y) + kGapMm - 2;
    const double plotMm =
        std::clamp(kContents.Bottom() - y - kGapMm - kFootMm, kLowestPlotMm, kTallestPlotMm);
    DrawHeartRate(canvas, findings, {kContents.x, y, kContents.width, plotMm});
    y = std::max(y + plotMm + kGapMm, kContents.Bottom() - kFootMm);
    const double width = (kContents.width - kColumnGapMm) / 2;
    const Box left{kContents.x, y, width, kContents.Bottom() - y};
    DrawWarnings(canvas, findings, left);
    DrawConclusion(canvas, findings.tr, {kContents.Right() - width, y, width, left.height});
}

}  // namespace

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

void AddSummaryPage(const Findings& findings, std::vector<ReportPage>& pages) {
    pages.push_back(
        {findings.tr("Exercise ECG report"), [&findings](Canvas& canvas) { DrawSummary(canvas, findings); }});
}

void AddLongTexts(const Findings& findings, std::vector<ReportPage>& pages) {
    std::vector<Fact> cut;
    const auto keepLong = [&](const std::vector<Fact>& facts, std::size_t letters) {
        for (const Fact& fact : facts)
            if (fact.value.size() > letters) cut.push_back(fact);
    };
    keepLong(ListPatient(findings), kHeaderLines * kLineLetters);
    keepLong(ListFacts(findings), kRecordLines * kLineLetters);
    keepLong(ListResults(findings), kResultLines * kResultLetters);
    if (cut.empty()) return;
    pages.push_back({findings.tr("Texts of page 1 in full"), [cut](Canvas& canvas) {
                         constexpr int kAllLines = 100;
                         const ClipTo clip(canvas, kContents);
                         DrawFacts(canvas, kContents, kResultLabelMm, kAllLines, cut);
                     }});
}
