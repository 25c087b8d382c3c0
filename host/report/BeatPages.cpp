#include "host/report/BeatPages.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "host/support/Text.h"

namespace {

constexpr double kStrongMm = 5;
constexpr double kMarginMm = 1;  // between a beat and the edge of its paper
constexpr double kWidestBeatMm = 30;

// The enlarged beat: squares of 40 ms and 0.1 mV, beginning this long before Q.
constexpr double kBeforeQMs = 60;
constexpr double kSquareMs = 40;
constexpr double kZeroSquares = 5;  // above the PR level
constexpr double kEnlargedSquares = 10;

// Space above and below the papers of a lead.
constexpr double kAboveMm = 5.2, kBelowMm = 10.2;
constexpr double kCellGapMm = 2;
constexpr double kTallestPaperMm = 60;

// Height of the papers: a whole number of strong squares at both scales.
double ChoosePaperHeight(const Box& cell) {
    constexpr double kStep = 2 * kEnlargedSquares;
    return std::min(kTallestPaperMm, std::floor((cell.height - kAboveMm - kBelowMm) / kStep) * kStep);
}

constexpr Pen kReferencePen{kBlue, 0.3, 0.9};
constexpr Pen kFarthestPen{kAccent, 0.3};
constexpr Pen kLatestPen{kInk, 0.38};

const std::vector<float>& BeatOf(const std::vector<std::vector<float>>& beats, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < beats.size() ? beats[lead] : kNone;
}

const std::vector<float>& FarthestOf(const StressResult& result, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < result.farthest.size() ? result.farthest[lead].uV : kNone;
}

struct Mark {
    const char* name;
    double ms;
};
std::array<Mark, 4> ListMarks(const StressResult& result) {
    const BeatPositionsMs& at = result.positions;
    return {{{"Q", at.q}, {"R", at.r}, {"J", at.j}, {"ST", STPointMs(result)}}};
}

// Height of a beat above its PR level at a time, uV; NaN outside the beat.
double HeightUv(const StressResult& result, const std::vector<float>& beatUv, double ms) {
    const long sample = std::lround(ms * result.source.fs / 1000);
    if (sample < 0 || sample >= std::ssize(beatUv)) return std::numeric_limits<double>::quiet_NaN();
    return beatUv.begin()[sample] - PrLevelUv(result, beatUv);
}

void DrawBeats(Canvas& canvas, const StressResult& result, std::size_t lead, const EcgPaper& paper) {
    const std::vector<float>& reference = BeatOf(result.referenceBeatUv, lead);
    const std::vector<float>& farthest = FarthestOf(result, lead);
    const std::vector<float>& latest = BeatOf(result.latestBeatUv, lead);
    paper.DrawTrace(canvas, reference, PrLevelUv(result, reference), result.source.fs, kReferencePen);
    paper.DrawTrace(canvas, farthest, PrLevelUv(result, farthest), result.source.fs, kFarthestPen);
    paper.DrawTrace(canvas, latest, PrLevelUv(result, latest), result.source.fs, kLatestPen);
}

void DrawPoints(Canvas& canvas, const StressResult& result, std::size_t lead, const EcgPaper& paper,
                double radiusMm) {
    const ClipTo clip(canvas, paper.Area());
    const std::vector<float>& latest = BeatOf(result.latestBeatUv, lead);
    for (const Mark& mark : ListMarks(result)) {
        const double uV = HeightUv(result, latest, mark.ms);
        if (std::isfinite(uV)) canvas.FillDisc({paper.X(mark.ms), paper.Y(uV)}, radiusMm, kAccent);
    }
}

// Ticks at the upper edge with R and ST, at the lower with Q and J: at this scale all four are within 5 mm.
void DrawTicks(Canvas& canvas, const StressResult& result, const EcgPaper& paper) {
    constexpr double kTickMm = 1.4;
    const Box& area = paper.Area();
    const std::array<Mark, 4> marks = ListMarks(result);
    for (std::size_t i = 0; i < marks.size(); ++i) {
        const double x = paper.X(marks[i].ms);
        if (!(x >= area.x && x <= area.Right())) continue;
        const bool isAbove = i % 2 == 1, isToTheLeft = i < 2;
        const double edge = isAbove ? area.y : area.Bottom();
        canvas.DrawLine({x, edge + (isAbove ? kTickMm : -kTickMm)},
                        {x, edge + (isAbove ? -kTickMm : kTickMm)}, {kAccent, 0.25});
        canvas.DrawText({x + (isToTheLeft ? -0.4 : 0.4), isAbove ? area.y - 0.5 : area.Bottom() + 2.1},
                        marks[i].name, {6, true, kAccent, isToTheLeft ? Align::Right : Align::Left});
    }
}

// Draws as much of the beat as `room` holds.
void DrawEnlarged(Canvas& canvas, const StressResult& result, std::size_t lead, const Box& room) {
    const double squareMm = room.height / kEnlargedSquares;  // so many times as large as on paper
    const PaperScale scale{kUsualScale.mmPerSecond * squareMm, kUsualScale.mmPerMv * squareMm};
    const double startMs = std::max(0.0, result.positions.q - kBeforeQMs);
    const double squares =
        std::max(1.0, std::min(std::floor(room.width / squareMm),
                               std::ceil((result.positions.length - startMs) / kSquareMs)));
    const Box box{room.x, room.y, squares * squareMm, room.height};
    const EcgPaper paper(box, scale, box.y + kZeroSquares * squareMm, startMs);
    paper.DrawGrid(canvas, squareMm);
    for (const Mark& mark : ListMarks(result)) {
        const double x = paper.X(mark.ms);
        if (!(x >= box.x && x <= box.Right())) continue;
        canvas.DrawLine({x, box.y}, {x, box.Bottom()}, {kAccent, 0.15, 0.7});
        canvas.DrawText({x, box.y - 0.5}, mark.name, {6, true, kAccent, Align::Centre});
    }
    canvas.DrawLine({box.x, paper.Y(0)}, {box.Right(), paper.Y(0)}, {kMuted, 0.15});
    DrawBeats(canvas, result, lead, paper);
    DrawPoints(canvas, result, lead, paper, 0.6);
}

// "reference", "9:51" or "latest" with its kind of line and its figures.
void DrawFigures(Canvas& canvas, const Language& tr, Point at, double widthMm, const std::string& which,
                 const Pen& pen, double levelUv, double slopeUvPerMs) {
    constexpr double kSampleMm = 5, kNameMm = 12.5;
    canvas.DrawLine({at.x, at.y - 0.8}, {at.x + kSampleMm, at.y - 0.8}, pen);
    canvas.DrawText({at.x + kSampleMm + 1.2, at.y}, tr(which), {6.5, false, kMuted});
    canvas.DrawText({at.x + kSampleMm + kNameMm, at.y},
                    tr("ST " + Number(levelUv, 0) + " µV,  slope " + Number(slopeUvPerMs, 2) + " µV/ms"),
                    {7, false, kInk}, widthMm - kSampleMm - kNameMm);
}

void DrawLeadBeats(Canvas& canvas, const Findings& findings, std::size_t lead, const Box& cell,
                   const PaperScale& scale) {
    const StressResult& result = findings.result;
    const bool isWorst = findings.worstLead == lead;
    const Box paperBox{cell.x, cell.y + kAboveMm, BeatPaperMm(result), ChoosePaperHeight(cell)};
    canvas.DrawText({cell.x, cell.y + 3.1}, result.source.leads[lead], {9, true, isWorst ? kAccent : kInk},
                    cell.width);

    const EcgPaper paper = PlaceBeat(paperBox, scale, FindBeatRange(result, lead));
    paper.DrawGrid(canvas);
    DrawBeats(canvas, result, lead, paper);
    DrawPoints(canvas, result, lead, paper, 0.4);
    DrawTicks(canvas, result, paper);

    const double enlargedX = paperBox.Right() + 3;
    DrawEnlarged(canvas, result, lead, {enlargedX, paperBox.y, cell.Right() - enlargedX, paperBox.height});

    if (findings.leads.empty()) {
        canvas.DrawText({cell.x, paperBox.Bottom() + 5.5}, findings.tr("no ST was measured"),
                        {7, false, kMuted});
        return;
    }
    DrawFigures(canvas, findings.tr, {cell.x, paperBox.Bottom() + 5}, cell.width, "reference", kReferencePen,
                findings.leads[lead].referenceUv, findings.reference.slopeUvPerMs[lead]);
    const LeadSummary& farthest = findings.leads[lead];
    if (!FarthestOf(result, lead).empty())
        DrawFigures(canvas, findings.tr, {cell.x, paperBox.Bottom() + 7.5}, cell.width,
                    LongClock(farthest.seconds), kFarthestPen, farthest.levelUv, farthest.slopeUvPerMs);
    DrawFigures(canvas, findings.tr, {cell.x, paperBox.Bottom() + 10}, cell.width, "latest", kLatestPen,
                result.beats.back().levelUv[lead], result.beats.back().slopeUvPerMs[lead]);
}

void DrawBeatPage(Canvas& canvas, const Findings& findings, std::size_t first, std::size_t count) {
    const LeadGrid grid = ChooseGrid(count);
    const PaperScale scale = ChooseBeatScale(findings.result, ChoosePaperHeight(grid.Cell(0, kCellGapMm)));
    for (std::size_t i = 0; i < count; ++i)
        DrawLeadBeats(canvas, findings, first + i, grid.Cell(i, kCellGapMm), scale);
    DrawCaption(
        canvas,
        findings.tr("Left: " + DescribeScale(scale) +
                    (scale.mmPerMv < kUsualScale.mmPerMv ? " (half the usual gain, to fit)" : "") +
                    ", squares of 1 mm. Right: ST segment enlarged, squares of 40 ms and 0.1 mV. All "
                    "stand on their PR level. "
                    "Red: at the largest ST change. Dots: Q, R upstroke, J, ST point of the latest."));
}

}  // namespace

TraceRange FindBeatRange(const StressResult& result, std::size_t lead) {
    TraceRange all;
    for (const std::vector<float>* beat : {&BeatOf(result.referenceBeatUv, lead), &FarthestOf(result, lead),
                                           &BeatOf(result.latestBeatUv, lead)}) {
        const TraceRange range = FindRange(*beat);
        const double zeroUv = PrLevelUv(result, *beat);
        all.lowestUv = std::min(all.lowestUv, range.lowestUv - zeroUv);
        all.highestUv = std::max(all.highestUv, range.highestUv - zeroUv);
    }
    return all;
}

PaperScale ChooseBeatScale(const StressResult& result, double heightMm) {
    const auto mm = [](const TraceRange& range, const PaperScale& scale) {
        return (range.highestUv - range.lowestUv) * scale.mmPerMv / 1000;
    };
    for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
        const TraceRange range = FindBeatRange(result, lead);
        const double room = heightMm - 2 * kMarginMm;
        if (mm(range, kUsualScale) > room && mm(range, kHalfGainScale) <= room) return kHalfGainScale;
    }
    return kUsualScale;
}

EcgPaper PlaceBeat(const Box& box, const PaperScale& scale, const TraceRange& range) {
    const double above = range.highestUv * scale.mmPerMv / 1000,
                 below = -range.lowestUv * scale.mmPerMv / 1000;
    const double free = box.height - above - below;
    const double wanted = free / 2 + above;
    double zero = std::round(wanted / kStrongMm) * kStrongMm;
    if (free >= 0 && (zero < above || zero + below > box.height)) zero = wanted;
    return {box, scale, box.y + std::clamp(zero, 0.0, box.height)};
}

double BeatPaperMm(const StressResult& result) {
    const double mm = result.positions.length * kUsualScale.mmPerSecond / 1000;
    return std::clamp(std::ceil(mm / kStrongMm - 1e-9) * kStrongMm, 2 * kStrongMm, kWidestBeatMm);
}

void AddBeatPages(const Findings& findings, std::vector<ReportPage>& pages) {
    if (findings.result.referenceBeatUv.empty()) return;
    const std::size_t leads = findings.result.source.leads.size();
    for (std::size_t first = 0; first < leads; first += kLeadsPerGrid) {
        const std::size_t count = std::min(kLeadsPerGrid, leads - first);
        pages.push_back(
            {findings.tr("Averaged beats: in the reference, at the largest ST change, latest" +
                         NameSpan("leads", first, count, leads)),
             [&findings, first, count](Canvas& canvas) { DrawBeatPage(canvas, findings, first, count); }});
    }
}
