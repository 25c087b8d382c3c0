#include "host/report/TrendPages.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "host/report/SummaryPage.h"
#include "host/report/TrendPlot.h"
#include "host/results/Course.h"
#include "host/results/Holes.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

// Readings beyond this do not widen the scale, so that a lead that is off does not flatten the others; they
// are drawn at the edge of the plot.
constexpr double kMostMv = 1.5;
constexpr double kLeastMv = 0.2;
constexpr double kStepMv = 0.1;  // a millimetre of ECG paper
constexpr int kMostSteps = 10;
constexpr double kLeastSlope = 2;  // mV/s, as uV/ms
constexpr double kFarthest = 8;  // times the least range of an axis; beyond it readings are drawn at the edge

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

// One axis for all leads.
ValueAxis ChooseLevelAxis(const StressResult& result) {
    double lowest = -kLeastMv, highest = kLeastMv;
    for (const STReading& beat : result.beats) {
        for (const float levelUv : beat.levelUv) {
            const double levelMv = levelUv / kUvPerMv;
            if (!(std::abs(levelMv) <= kMostMv)) continue;
            lowest = std::min(lowest, levelMv);
            highest = std::max(highest, levelMv);
        }
    }
    return ChooseValueAxis(lowest, highest, kStepMv, kMostSteps);
}

void DrawLeadTrend(Canvas& canvas, const Findings& findings, std::size_t lead, const Box& cell,
                   const ValueAxis& levels) {
    const StressResult& result = findings.result;
    const bool isWorst = findings.worstLead == lead;
    const Box area{cell.x + 9, cell.y + 6, cell.width - 10, cell.height - 12};
    const TimeAxis time = ChooseTimeAxis(result.seconds, static_cast<int>(area.width / 7));
    const TrendPlot plot(area, time, levels);
    plot.DrawStages(canvas, findings.exercise.stages, false);
    plot.DrawAxes(canvas, 6.5, true, true);

    const std::vector<Hole>& holes = findings.holes[lead];
    plot.DrawHoles(canvas, holes);
    const std::vector<TrendPoint> readings =
        CourseOf(result, holes, [lead](const STReading& beat) { return beat.levelUv[lead] / kUvPerMv; });
    plot.DrawCourse(canvas, readings, {isWorst ? kAccent : kBlue, isWorst ? 0.55 : 0.35});

    const Colour colour = isWorst ? kAccent : kInk;
    const double nameMm = canvas.DrawText({area.x, area.y - 1.6}, result.source.leads[lead],
                                          {9, true, colour}, area.width * 0.4);
    const Language& tr = findings.tr;
    std::string caption =
        tr(result.beats.empty() ? "no ST was measured" : "no change: no ST in the reference");
    if (!findings.leads.empty() && std::isfinite(findings.leads[lead].levelUv)) {
        const LeadSummary& s = findings.leads[lead];
        caption = tr((isWorst ? "largest of all: " : "largest change ") + Number(s.changeUv, 0) + " µV at " +
                     LongClock(s.seconds));
        canvas.DrawRing({plot.X(s.seconds), plot.Y(std::clamp(s.levelUv / kUvPerMv, levels.from, levels.to))},
                        0.7, {colour, 0.3});
    }
    canvas.DrawText({area.Right(), area.y - 1.6}, caption,
                    {6.5, isWorst, isWorst ? kAccent : kMuted, Align::Right}, area.width - nameMm - 3);
    if (isWorst) canvas.DrawBox(area, {kAccent, 0.5});
}

// Leads differ in the kind of their lines as well as in colour.
constexpr std::array kLeadPens{Pen{kBlue, 0.4},  Pen{kAccent, 0.4, 1.6}, Pen{kInk, 0.4, 0.6},
                               Pen{kMuted, 0.5}, Pen{kBlue, 0.5, 0.9},   Pen{kAccent, 0.5, 0.4}};

// What one row of the page shows.
struct TrendRow {
    std::string title;
    double parts = 1;  // of the height
    std::function<void(Canvas& canvas, const Box& box, const TimeAxis& time, bool withNames)> draw;
};

TrendPlot BeginRow(Canvas& canvas, const Findings& findings, const Box& box, const TimeAxis& time,
                   const ValueAxis& values, bool withNames) {
    const TrendPlot plot(box, time, values);
    plot.DrawStages(canvas, findings.exercise.stages, withNames);
    plot.DrawAxes(canvas, 6.5, true, true);
    return plot;
}

// ST or its slope of the leads of the table of stages.
template <typename Value>
void DrawLeads(Canvas& canvas, const Findings& findings, const Box& box, const TimeAxis& time, double least,
               double step, Value value) {
    const StressResult& result = findings.result;
    std::vector<std::vector<TrendPoint>> courses;
    std::vector<double> all{-least, least};
    for (std::size_t i = 0; i < std::min(findings.exercise.stageLeads.size(), kLeadPens.size()); ++i) {
        const std::size_t lead = findings.exercise.stageLeads[i];
        courses.push_back(
            CourseOf(result, findings.holes[lead], [&](const STReading& beat) { return value(beat, lead); }));
        for (const TrendPoint& point : courses.back())
            if (std::abs(point.value) <= kFarthest * least) all.push_back(point.value);
    }
    const auto [lowest, highest] = std::minmax_element(all.begin(), all.end());
    const TrendPlot plot =
        BeginRow(canvas, findings, box, time, ChooseValueAxis(*lowest, *highest, step, 8), false);
    double x = box.Right();
    for (std::size_t i = courses.size(); i-- > 0;) {
        const std::size_t lead = findings.exercise.stageLeads[i];
        plot.DrawHoles(canvas, findings.holes[lead]);
        plot.DrawCourse(canvas, courses[i], kLeadPens.begin()[i]);
        x -= canvas.DrawText({x, box.y - 1.2}, result.source.leads[lead],
                             {7.5, true, kLeadPens.begin()[i].colour, Align::Right}) +
             1;
        canvas.DrawLine({x - 6, box.y - 2}, {x, box.y - 2}, kLeadPens.begin()[i]);
        x -= 9;
    }
}

void DrawPressures(Canvas& canvas, const Findings& findings, const Box& box, const TimeAxis& time) {
    constexpr double kRoomMmHg = 15;
    double highest = 160;
    std::vector<TrendPoint> systolic, diastolic;
    for (const BloodPressure& pressure : findings.exercise.pressures) {
        if (pressure.seconds > findings.result.seconds) continue;
        systolic.push_back({pressure.seconds, pressure.systolic});
        diastolic.push_back({pressure.seconds, pressure.diastolic});
        if (pressure.systolic > highest) highest = pressure.systolic;
    }
    const TrendPlot plot =
        BeginRow(canvas, findings, box, time, ChooseValueAxis(40, highest + kRoomMmHg, 20, 6), false);
    for (std::size_t i = 0; i < systolic.size(); ++i) {
        const double x = plot.X(systolic[i].seconds);
        canvas.DrawLines({{x, plot.Y(systolic[i].value)}, {x, plot.Y(diastolic[i].value)}}, {kMuted, 0.25});
        for (const double mmHg : {systolic[i].value, diastolic[i].value})
            if (std::isfinite(mmHg)) canvas.FillDisc({x, plot.Y(mmHg)}, 0.7, kInk);
    }
}

void DrawMets(Canvas& canvas, const Findings& findings, const Box& box, const TimeAxis& time) {
    const std::vector<CourseRow> rows = SummarizeCourse(findings.result, findings.exercise);
    constexpr double kRoom = 3;  // for the figure above its line
    double highest = 4;
    for (const CourseRow& row : rows)
        if (row.mets > highest) highest = row.mets;
    const TrendPlot plot =
        BeginRow(canvas, findings, box, time, ChooseValueAxis(0, highest + kRoom, 1, 4), false);
    for (const CourseRow& row : rows) {
        if (std::isnan(row.mets)) continue;
        const double y = plot.Y(row.mets), left = plot.X(row.span.fromSeconds),
                     right = plot.X(row.span.toSeconds);
        canvas.DrawLine({left, y}, {right, y}, {kBlue, 0.5});
        canvas.DrawText({(left + right) / 2, y - 0.8}, Number(row.mets, 1),
                        {6.5, false, kInk, Align::Centre});
    }
}

void DrawTrends(Canvas& canvas, const Findings& findings) {
    const StressResult& result = findings.result;
    const ExerciseSummary& exercise = findings.exercise;
    std::vector<TrendRow> rows;
    rows.push_back(
        {"Heart rate, beats/min", 3, [&](Canvas& c, const Box& box, const TimeAxis& time, bool withNames) {
             const TrendPlot plot =
                 BeginRow(c, findings, box, time, ChooseRateAxis(result, exercise.peakBpm), withNames);
             std::vector<TrendPoint> readings;
             for (const RateReading& rate : result.rates) readings.push_back({rate.seconds, rate.bpm});
             plot.DrawCourse(c, readings, {kBlue, 0.35});
         }});
    if (!exercise.stageLeads.empty()) {
        rows.push_back(
            {"ST level, mV (0.1 mV is 1 mm)", 4, [&](Canvas& c, const Box& box, const TimeAxis& time, bool) {
                 DrawLeads(
                     c, findings, box, time, kLeastMv, kStepMv,
                     [](const STReading& beat, std::size_t lead) { return beat.levelUv[lead] / kUvPerMv; });
             }});
        rows.push_back({"ST slope, mV/s", 3, [&](Canvas& c, const Box& box, const TimeAxis& time, bool) {
                            DrawLeads(c, findings, box, time, kLeastSlope, kLeastSlope / 2,
                                      [](const STReading& beat, std::size_t lead) {
                                          return double{beat.slopeUvPerMs[lead]};
                                      });
                        }});
    }
    if (!exercise.pressures.empty())
        rows.push_back(
            {"Blood pressure, mmHg", 2.2, [&](Canvas& c, const Box& box, const TimeAxis& time, bool) {
                 DrawPressures(c, findings, box, time);
             }});
    if (!std::isnan(exercise.capacity.mets))
        rows.push_back({"METs", 1.6, [&](Canvas& c, const Box& box, const TimeAxis& time, bool) {
                            DrawMets(c, findings, box, time);
                        }});
    constexpr double kAboveMm = 6.2, kBelowMm = 4, kNamesMm = 6.5, kFiguresMm = 9;
    double parts = 0;
    for (const TrendRow& row : rows) parts += row.parts;
    const double free =
        kContents.height - kCaptionMm - kNamesMm - static_cast<double>(rows.size()) * (kAboveMm + kBelowMm);
    const TimeAxis time = ChooseTimeAxis(result.seconds, 24);
    double y = kContents.y;
    bool isFirst = true;
    for (const TrendRow& row : rows) {
        y += kAboveMm;
        canvas.DrawText({kContents.x, y - 2.2}, findings.tr(row.title), {7.5, true, kInk});
        if (isFirst) y += kNamesMm;
        const Box box{kContents.x + kFiguresMm, y, kContents.width - kFiguresMm, free * row.parts / parts};
        row.draw(canvas, box, time, isFirst);
        isFirst = false;
        y = box.Bottom() + kBelowMm;
    }
    DrawCaption(canvas, findings.tr(std::string("Time in ") + time.unit +
                                    "; stages of work are shaded. Hatched: no ST, for the reason that "
                                    "stands there or among the warnings."));
}

}  // namespace

void AddTrendPages(const Findings& findings, std::vector<ReportPage>& pages) {
    pages.push_back({findings.tr("Trends"), [&findings](Canvas& canvas) { DrawTrends(canvas, findings); }});
    const std::size_t leads = findings.result.source.leads.size();
    for (std::size_t first = 0; first < leads; first += kLeadsPerGrid) {
        const std::size_t count = std::min(kLeadsPerGrid, leads - first);
        pages.push_back(
            {findings.tr("ST level" + NameSpan("leads", first, count, leads)),
             [&findings, first, count](Canvas& canvas) {
                 const ValueAxis levels = ChooseLevelAxis(findings.result);
                 const LeadGrid grid = ChooseGrid(count);
                 for (std::size_t i = 0; i < count; ++i)
                     DrawLeadTrend(canvas, findings, first + i, grid.Cell(i, 3), levels);
                 const TimeAxis time = ChooseTimeAxis(findings.result.seconds, 1);
                 DrawCaption(canvas,
                             findings.tr(std::string("mV over ") + time.unit +
                                         "; 0.1 mV is 1 mm of ECG paper. All leads on one scale; stages of "
                                         "work are shaded; hatched: no ST; rings: largest change from the "
                                         "reference."));
             }});
    }
}
