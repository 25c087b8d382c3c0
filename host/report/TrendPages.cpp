#include "host/report/TrendPages.h"

#include <algorithm>
#include <cmath>

#include "host/report/TrendPlot.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

// Readings beyond this do not widen the scale, so that a lead that is off does not flatten the others; they
// are drawn at the edge of the plot.
constexpr double kMostMv = 1.5;
constexpr double kLeastMv = 0.2;
constexpr double kStepMv = 0.1;  // a millimetre of ECG paper
constexpr int kMostSteps = 10;

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

    std::vector<TrendPoint> readings;
    for (const STReading& beat : result.beats)
        readings.push_back({beat.seconds, beat.levelUv[lead] / kUvPerMv});
    plot.DrawCourse(canvas, readings, {isWorst ? kAccent : kBlue, isWorst ? 0.55 : 0.35});

    const Colour colour = isWorst ? kAccent : kInk;
    const double nameMm = canvas.DrawText({area.x, area.y - 1.6}, result.source.leads[lead],
                                          {9, true, colour}, area.width * 0.4);
    std::string caption = readings.empty() ? "no ST was measured" : "no change: no ST in the reference";
    if (!findings.leads.empty() && std::isfinite(findings.leads[lead].levelUv)) {
        const LeadSummary& s = findings.leads[lead];
        caption = (isWorst ? "largest of all: " : "largest change ") + Number(s.changeUv, 0) + " µV at " +
                  LongClock(s.seconds);
        canvas.DrawRing({plot.X(s.seconds), plot.Y(std::clamp(s.levelUv / kUvPerMv, levels.from, levels.to))},
                        0.7, {colour, 0.3});
    }
    canvas.DrawText({area.Right(), area.y - 1.6}, caption,
                    {6.5, isWorst, isWorst ? kAccent : kMuted, Align::Right}, area.width - nameMm - 3);
    if (isWorst) canvas.DrawBox(area, {kAccent, 0.5});
}

}  // namespace

void AddTrendPages(const Findings& findings, std::vector<ReportPage>& pages) {
    const std::size_t leads = findings.result.source.leads.size();
    for (std::size_t first = 0; first < leads; first += kLeadsPerGrid) {
        const std::size_t count = std::min(kLeadsPerGrid, leads - first);
        pages.push_back(
            {"ST level" + NameSpan("leads", first, count, leads), [&findings, first, count](Canvas& canvas) {
                 const ValueAxis levels = ChooseLevelAxis(findings.result);
                 const LeadGrid grid = ChooseGrid(count);
                 for (std::size_t i = 0; i < count; ++i)
                     DrawLeadTrend(canvas, findings, first + i, grid.Cell(i, 3), levels);
                 const TimeAxis time = ChooseTimeAxis(findings.result.seconds, 1);
                 DrawCaption(canvas, std::string("mV over ") + time.unit +
                                         "; 0.1 mV is 1 mm of ECG paper. All leads on one scale; stages of "
                                         "work are shaded; rings: largest change from the reference.");
             }});
    }
}
