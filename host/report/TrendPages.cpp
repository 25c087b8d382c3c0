#include "host/report/TrendPages.h"

#include <algorithm>
#include <cmath>

#include "host/results/Course.h"
#include "host/results/Holes.h"
#include "host/results/PeakRate.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kMostMv = 1.5;
constexpr double kLeastMv = 0.2;
constexpr double kMostJMv = 0.7;  // the thin line of J does not flatten that of ST
constexpr double kStepMv = 0.1;   // a millimetre of ECG paper
constexpr double kMmPerMv = 10;
constexpr double kLeastSlope = 1;  // mV/s, as uV/ms
constexpr double kMostSlope = 8;
constexpr double kPerFigureMm = 3;  // height

// Of a page, mm: of a plot's title, of the names of stages below it, of the figures of time.
constexpr double kPlotTitleMm = 5, kStageNamesMm = 7, kTimeMm = 6;
constexpr double kLeftMm = 9, kRightMm = 5;  // of the figures beside a plot
constexpr double kRateMm = 30, kPressureMm = 20, kMetsMm = 12;
constexpr double kLeadGapMm = 3;

// A value of every reading, and a gap at the beginning of each hole.
template <typename Value>
std::vector<TrendPoint> CourseOf(const StressResult& result, const std::vector<Hole>& holes, Value value) {
    std::vector<TrendPoint> points;
    auto hole = holes.begin();
    for (const STReading& beat : result.beats) {
        for (; hole != holes.end() && hole->span.fromSeconds < beat.seconds; ++hole)
            points.push_back({hole->span.fromSeconds, kNothing});
        points.push_back({beat.seconds, value(beat)});
    }
    return points;
}

// The range of an axis for all leads, from -`least` to `least` or wider. Readings beyond `most` do not widen
// it, so that a lead that is off does not flatten the others; they are drawn at the edge of the plot.
struct AxisRange {
    explicit AxisRange(double least) : lowest(-least), highest(least) {}
    void Take(double value, double most) {
        if (!(std::abs(value) <= most)) return;
        lowest = std::min(lowest, value);
        highest = std::max(highest, value);
    }
    ValueAxis Axis(double step, double heightMm) const {
        return ChooseValueAxis(lowest, highest, step, std::max(2, static_cast<int>(heightMm / kPerFigureMm)));
    }
    double lowest, highest;
};

ValueAxis ChooseLevelAxis(const StressResult& result, double heightMm) {
    constexpr std::size_t kPerOutlier = 200;  // of the thin line, one reading may lie outside
    AxisRange range(kLeastMv);
    std::vector<float> jUv;
    for (const STReading& beat : result.beats) {
        for (const float levelUv : beat.levelUv) range.Take(levelUv / kUvPerMv, kMostMv);
        for (const STPoints& st : beat.st)
            if (std::isfinite(st.jUv)) jUv.push_back(st.jUv);
    }
    std::sort(jUv.begin(), jUv.end());
    const std::size_t tail = jUv.size() / kPerOutlier;
    for (std::size_t i = tail; i + tail < jUv.size(); ++i) range.Take(jUv[i] / kUvPerMv, kMostJMv);
    return range.Axis(kStepMv, heightMm);
}

ValueAxis ChooseSlopeAxis(const StressResult& result, double heightMm) {
    AxisRange range(kLeastSlope);
    for (const STReading& beat : result.beats)
        for (const float slope : beat.slopeUvPerMs) range.Take(slope, kMostSlope);
    return range.Axis(kLeastSlope, heightMm);
}

// Its half minute as a line, with a ring at the end, and the figure above the course.
void MarkPeak(Canvas& canvas, const TrendPlot& plot, const Findings& findings) {
    constexpr double kAsideMm = 2.5, kLetterMm = 3.5;
    const ExerciseSummary& exercise = findings.exercise;
    if (!(exercise.peakBpm > 0)) return;
    const Point peak{plot.X(exercise.peakSeconds), plot.Y(exercise.peakBpm)};
    const std::string label =
        findings.tr(PeakStretch(findings.result) + " peak " + Number(exercise.peakBpm, 0) + " at " +
                    LongClock(exercise.peakSeconds));
    TextStyle style{8, true, kAccent};
    const double width = canvas.MeasureText(label, style);
    const bool isToTheLeft = peak.x + kAsideMm + width > plot.Area().Right();
    style.align = isToTheLeft ? Align::Right : Align::Left;
    const double x = peak.x + (isToTheLeft ? -kAsideMm : kAsideMm);
    const double left = isToTheLeft ? x - width : x;
    double y = peak.y - 1;
    for (const RateReading& rate : findings.result.rates)
        if (plot.X(rate.seconds) >= left && plot.X(rate.seconds) <= left + width && std::isfinite(rate.bpm))
            y = std::min(y, plot.Y(rate.bpm) - 1);
    const double half = plot.X(std::max(0.0, exercise.peakSeconds - kPeakRateSeconds));
    canvas.DrawLine({half, peak.y}, peak, {kAccent, 0.3});
    canvas.DrawRing(peak, 0.9, {kAccent, 0.4});
    canvas.DrawText({x, std::max(y, plot.Area().y + kLetterMm)}, label, style);
}

// The plots of a lead: its levels above its slope.
struct LeadBoxes {
    Box level, slope;
};
LeadBoxes SplitCell(const Box& cell) {
    constexpr double kBetweenMm = 3.5, kSlopePart = 0.34;
    const double x = cell.x + kLeftMm, width = cell.width - kLeftMm - kRightMm;
    const double height = cell.height - kPlotTitleMm - kBetweenMm - kTimeMm, slopeMm = kSlopePart * height;
    const Box level{x, cell.y + kPlotTitleMm, width, height - slopeMm};
    return {level, {x, level.Bottom() + kBetweenMm, width, slopeMm}};
}

// What all leads share.
struct LeadAxes {
    ValueAxis levels, slopes;
};

void DrawLeadTrend(Canvas& canvas, const Findings& findings, std::size_t lead, const Box& cell,
                   const LeadAxes& axes) {
    const StressResult& result = findings.result;
    const bool isWorst = findings.worstLead == lead;
    const Colour colour = isWorst ? kAccent : kInk;
    const LeadBoxes boxes = SplitCell(cell);
    const TimeAxis time = ChooseTimeAxis(result.seconds, static_cast<int>(boxes.level.width / 8));
    const std::vector<Hole>& holes = findings.holes[lead];

    const TrendPlot levels(boxes.level, time, axes.levels);
    levels.DrawStages(canvas, findings.exercise.stages, false);
    levels.DrawAxes(canvas, false);
    levels.DrawRightFigures(canvas, kMmPerMv);
    levels.DrawHoles(canvas, holes);
    levels.DrawCourse(canvas,
                      CourseOf(result, holes,
                               [lead](const STReading& beat) {
                                   return lead < beat.st.size() ? beat.st[lead].jUv / kUvPerMv : kNothing;
                               }),
                      {kMuted, 0.12});
    levels.DrawCourse(
        canvas,
        CourseOf(result, holes, [lead](const STReading& beat) { return beat.levelUv[lead] / kUvPerMv; }),
        {isWorst ? kAccent : kBlue, isWorst ? 0.55 : 0.4});

    const TrendPlot slopes(boxes.slope, time, axes.slopes);
    slopes.DrawStages(canvas, findings.exercise.stages, false);
    slopes.DrawAxes(canvas, true);
    slopes.DrawHoles(canvas, holes);
    slopes.DrawCourse(
        canvas,
        CourseOf(result, holes, [lead](const STReading& beat) { return double{beat.slopeUvPerMs[lead]}; }),
        {kInk, 0.25});

    const double baseline = boxes.level.y - 1.6;
    const double nameMm = canvas.DrawText({boxes.level.x, baseline}, result.source.leads[lead],
                                          {9, true, colour}, boxes.level.width * 0.4);
    std::string caption = findings.tr(result.beats.empty() ? "no ST was measured" : "no ST in the reference");
    if (!findings.leads.empty() && std::isfinite(findings.leads[lead].levelUv)) {
        const LeadSummary& s = findings.leads[lead];
        caption = findings.tr(Signed(s.changeUv, 0) + " µV at " + LongClock(s.seconds));
        canvas.DrawRing({levels.X(s.seconds),
                         levels.Y(std::clamp(s.levelUv / kUvPerMv, axes.levels.from, axes.levels.to))},
                        0.7, {colour, 0.3});
    }
    canvas.DrawText({cell.Right(), baseline}, caption, {8, isWorst, isWorst ? kAccent : kMuted, Align::Right},
                    cell.Right() - boxes.level.x - nameMm - 2);
    if (isWorst) canvas.DrawBox(boxes.level, {kAccent, 0.5});
}

TrendPlot BeginRow(Canvas& canvas, const Findings& findings, const Box& box, const ValueAxis& values,
                   const char* title) {
    const TrendPlot plot(box, ChooseTimeAxis(findings.result.seconds, 24), values);
    canvas.DrawText({box.x, box.y - 1.6}, findings.tr(title), {8, true, kInk});
    plot.DrawStages(canvas, findings.exercise.stages, false);
    plot.DrawAxes(canvas, true);
    return plot;
}

void DrawPressures(Canvas& canvas, const Findings& findings, const Box& box) {
    constexpr double kRoomMmHg = 15;
    double highest = 160;
    std::vector<TrendPoint> systolic, diastolic;
    for (const BloodPressure& pressure : findings.exercise.pressures) {
        systolic.push_back({pressure.seconds, pressure.systolic});
        diastolic.push_back({pressure.seconds, pressure.diastolic});
        if (pressure.systolic > highest) highest = pressure.systolic;
    }
    const TrendPlot plot = BeginRow(canvas, findings, box, ChooseValueAxis(40, highest + kRoomMmHg, 20, 5),
                                    "Blood pressure, mmHg");
    for (std::size_t i = 0; i < systolic.size(); ++i) {
        const double x = plot.X(systolic[i].seconds);
        canvas.DrawLines({{x, plot.Y(systolic[i].value)}, {x, plot.Y(diastolic[i].value)}}, {kMuted, 0.25});
        for (const double mmHg : {systolic[i].value, diastolic[i].value})
            if (std::isfinite(mmHg)) canvas.FillDisc({x, plot.Y(mmHg)}, 0.7, kInk);
    }
}

void DrawMets(Canvas& canvas, const Findings& findings, const Box& box) {
    const std::vector<CourseRow> rows = SummarizeCourse(findings.result, findings.exercise);
    constexpr double kRoom = 5;  // for the figure above its line
    double highest = 4;
    for (const CourseRow& row : rows)
        if (row.mets > highest) highest = row.mets;
    const TrendPlot plot = BeginRow(canvas, findings, box, ChooseValueAxis(0, highest + kRoom, 1, 3), "METs");
    for (const CourseRow& row : rows) {
        if (std::isnan(row.mets)) continue;
        const double y = plot.Y(row.mets), left = plot.X(row.span.fromSeconds),
                     right = plot.X(row.span.toSeconds);
        canvas.DrawLine({left, y}, {right, y}, {kBlue, 0.5});
        canvas.DrawText({(left + right) / 2, y - 0.8}, Number(row.mets, 1), {8, false, kInk, Align::Centre});
    }
}

void DrawTrends(Canvas& canvas, const Findings& findings, const Box& contents, std::size_t first,
                std::size_t count) {
    const StressResult& result = findings.result;
    const ExerciseSummary& exercise = findings.exercise;
    const auto row = [&](double top, double heightMm) {
        return Box{contents.x + kLeftMm, top, contents.width - kLeftMm - kRightMm, heightMm};
    };
    DrawRateTrend(canvas, findings, row(contents.y + kPlotTitleMm + kStageNamesMm, kRateMm));

    double bottom = contents.Bottom() - kCaptionMm;
    const auto addRow = [&](double heightMm, auto draw) {
        bottom -= kTimeMm + heightMm;
        draw(canvas, findings, row(bottom, heightMm));
        bottom -= kPlotTitleMm;
    };
    if (!std::isnan(exercise.capacity.mets)) addRow(kMetsMm, DrawMets);
    if (!exercise.pressures.empty()) addRow(kPressureMm, DrawPressures);

    const double top = contents.y + kPlotTitleMm + kStageNamesMm + kRateMm + kTimeMm + 1;
    const Box area{contents.x, top, contents.width, bottom - top};
    const LeadGrid grid = ChooseHighGrid(count);
    const LeadBoxes boxes = SplitCell(grid.Cell(area, 0, kLeadGapMm));
    const LeadAxes axes{ChooseLevelAxis(result, boxes.level.height),
                        ChooseSlopeAxis(result, boxes.slope.height)};
    for (std::size_t i = 0; i < count; ++i)
        DrawLeadTrend(canvas, findings, first + i, grid.Cell(area, i, kLeadGapMm), axes);
    DrawCaption(
        canvas, contents,
        findings.tr(
            std::string("Of each lead above: ST level (strong) and J level (thin) in mV, in mm of ECG paper "
                        "on the right, its largest change with a ring; below: ST slope in mV/s. Time in ") +
            ChooseTimeAxis(result.seconds, 24).unit +
            "; stages of work are shaded; hatched: no ST, and why."));
}

}  // namespace

void DrawRateTrend(Canvas& canvas, const Findings& findings, const Box& box) {
    const StressResult& result = findings.result;
    const TimeAxis time = ChooseTimeAxis(result.seconds, 24);
    canvas.DrawText({box.x - kLeftMm, box.y - kStageNamesMm - 1.6},
                    findings.tr(std::string("Heart rate, beats/min, over time in ") + time.unit),
                    {8, true, kInk});
    const TrendPlot plot(box, time, ChooseRateAxis(result, findings.exercise.peakBpm));
    plot.DrawStages(canvas, findings.exercise.stages, true);
    plot.DrawAxes(canvas, true);
    std::vector<TrendPoint> readings;
    for (const RateReading& rate : result.rates) readings.push_back({rate.seconds, rate.bpm});
    plot.DrawCourse(canvas, readings, {kBlue, 0.35});
    MarkPeak(canvas, plot, findings);
    if (readings.empty())
        canvas.DrawText({box.x + box.width / 2, box.y + box.height / 2},
                        findings.tr("no heart rate was found"), {9, false, kMuted, Align::Centre});
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
    return ChooseValueAxis(std::max(0.0, lowest - 5), highest + 12, 10, 7);
}

void AddTrendPages(const Findings& findings, std::vector<ReportPage>& pages) {
    const std::size_t leads = findings.result.source.leads.size();
    const std::size_t perPage = SpreadEvenly(leads, kLeadsPerGrid);
    for (std::size_t first = 0; first < leads; first += perPage) {
        const std::size_t count = std::min(perPage, leads - first);
        pages.push_back({findings.tr("Trends" + NameSpan("leads", first, count, leads)),
                         Portrait(findings.paper),
                         [&findings, first, count](Canvas& canvas, const Box& contents) {
                             DrawTrends(canvas, findings, contents, first, count);
                         }});
    }
}
