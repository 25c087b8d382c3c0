#include "host/report/BeatPages.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "host/report/StageBeatPages.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

// The paper begins this long before Q.
constexpr double kBeforeQMs = 60;
constexpr double kSquareMs = 40;

// Of a lead, mm: its name, the letters of the marks, and the figures below the paper.
constexpr double kNameMm = 4.5, kMarksMm = 3.5, kFiguresMm = 2 * kLineMm + 1;
constexpr double kAroundPaperMm = kNameMm + kMarksMm + kFiguresMm;
constexpr double kCellGapMm = 3;
// A square is so large at most, and not made smaller than the other for the end of a long beat.
constexpr double kLargestSquareMm = 14, kLeastForWidthMm = 8;

// Beats differ in the kind of their lines as well as in colour.
constexpr Pen kReferencePen{kBlue, 0.35, 0.9};
constexpr Pen kFarthestPen{kAccent, 0.4};

const std::vector<float>& ReferenceOf(const StressResult& result, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < result.referenceBeatUv.size() ? result.referenceBeatUv[lead] : kNone;
}

const std::vector<float>& FarthestOf(const StressResult& result, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < result.farthest.size() ? result.farthest[lead].uV : kNone;
}

double ReferenceSTMs(const StressResult& result) { return result.referenceJMs + result.stPoint.UsualMs(); }

// Lines at Q, R, J and ST of the reference with their letters above the paper, as far as these have room.
void DrawMarks(Canvas& canvas, const StressResult& result, const EcgPaper& paper) {
    struct Mark {
        const char* name;
        double ms;
    };
    const BeatPositionsMs& at = result.positions;
    const Box& box = paper.Area();
    double free = box.x;
    for (const Mark& mark : {Mark{"Q", at.q}, Mark{"R", at.r}, Mark{"J", result.referenceJMs},
                             Mark{"ST", ReferenceSTMs(result)}}) {
        const double x = paper.X(mark.ms);
        if (!(x >= box.x && x <= box.Right())) continue;
        canvas.DrawLine({x, box.y}, {x, box.Bottom()}, {kMuted, 0.15, 0.7});
        const TextStyle style{8, true, kMuted, Align::Centre};
        const double half = canvas.MeasureText(mark.name, style) / 2;
        if (x - half < free) continue;
        canvas.DrawText({x, box.y - 0.8}, mark.name, style);
        free = x + half + 0.4;
    }
}

// "reference" or "9:51" with its kind of line and its figures.
void DrawFigures(Canvas& canvas, const Language& tr, Point at, double widthMm, const std::string& which,
                 const Pen& pen, double levelUv, double slopeUvPerMs) {
    constexpr double kSampleMm = 5, kNameWidthMm = 17.5;
    canvas.DrawLine({at.x, at.y - 1}, {at.x + kSampleMm, at.y - 1}, pen);
    canvas.DrawText({at.x + kSampleMm + 1, at.y}, tr(which), kMutedStyle, kNameWidthMm - 1);
    canvas.DrawText({at.x + kSampleMm + kNameWidthMm, at.y},
                    "ST " + Number(levelUv, 0) + " µV, " + Number(slopeUvPerMs, 2) + " µV/ms", kTextStyle,
                    widthMm - kSampleMm - kNameWidthMm);
}

double SquareMm(const Box& room, double columns) {
    return std::min(
        {room.height / kBeatSquares, kLargestSquareMm, std::max(room.width / columns, kLeastForWidthMm)});
}

// The largest paper that the room has, with as much of the beat as it holds.
EcgPaper PlacePaper(const StressResult& result, const Box& room, const SquareScale& squares) {
    const double startMs = std::max(0.0, result.positions.q - kBeforeQMs);
    const double columns = std::max(1.0, std::ceil((result.positions.length - startMs) / kSquareMs));
    const double squareMm = SquareMm(room, columns);
    const Box box{room.x, room.y, std::min(columns, std::floor(room.width / squareMm)) * squareMm,
                  squareMm * kBeatSquares};
    const PaperScale scale{squareMm / kSquareMs * kMsPerSecond, squareMm / squares.uVPerSquare * kUvPerMv};
    return {box, scale, box.y + squares.squaresAbove * squareMm, startMs};
}

// Height that the beats of so many leads need in `contents`.
double NeededMm(const StressResult& result, std::size_t count, const Box& contents) {
    const LeadGrid grid = ChooseWideGrid(count);
    const Box cell = grid.Cell({0, 0, contents.width, contents.height - kCaptionMm}, 0, kCellGapMm);
    const EcgPaper paper = PlacePaper(result, {0, 0, cell.width, cell.height - kAroundPaperMm}, {});
    const auto rows = static_cast<double>(std::min(grid.rows, count));
    return rows * (paper.Area().height + kAroundPaperMm + kCellGapMm) - kCellGapMm + kCaptionMm;
}

void DrawLeadBeats(Canvas& canvas, const Findings& findings, std::size_t lead, const Box& cell) {
    const StressResult& result = findings.result;
    const std::vector<float>& reference = ReferenceOf(result, lead);
    const std::vector<float>& farthest = FarthestOf(result, lead);
    const SquareScale squares = ChooseSquares(FindBeatRange(result, lead));
    const double nameMm =
        canvas.DrawText({cell.x, cell.y + 3.3}, result.source.leads[lead],
                        {9, true, findings.worstLead == lead ? kAccent : kInk}, cell.width * 0.5);
    canvas.DrawText({cell.x + nameMm + 3, cell.y + 3.3},
                    findings.tr("squares of " + Number(squares.uVPerSquare / kUvPerMv, 1) + " mV"),
                    kMutedStyle, cell.width - nameMm - 3);

    const EcgPaper paper = PlacePaper(
        result, {cell.x, cell.y + kNameMm + kMarksMm, cell.width, cell.height - kAroundPaperMm}, squares);
    const Box& box = paper.Area();
    paper.DrawGrid(canvas, box.height / kBeatSquares);
    DrawMarks(canvas, result, paper);
    canvas.DrawLine({box.x, paper.Y(0)}, {box.Right(), paper.Y(0)}, {kMuted, 0.15});
    paper.DrawTrace(canvas, reference, 0, result.source.fs, kReferencePen);
    paper.DrawTrace(canvas, farthest, 0, result.source.fs, kFarthestPen);
    double y = box.Bottom() + kLineMm;
    const LeadSummary& s = findings.leads[lead];
    {
        const ClipTo clip(canvas, box);
        for (const double ms : {result.referenceJMs, ReferenceSTMs(result)}) {
            const double uV = BeatHeightUv(result, reference, ms);
            if (std::isfinite(uV)) canvas.DrawRing({paper.X(ms), paper.Y(uV)}, 0.6, {kBlue, 0.25});
        }
        if (!farthest.empty())
            for (const double ms : {result.farthest[lead].jMs, result.farthest[lead].stMs}) {
                const double uV = BeatHeightUv(result, farthest, ms);
                if (std::isfinite(uV)) canvas.FillDisc({paper.X(ms), paper.Y(uV)}, 0.6, kAccent);
            }
    }
    DrawFigures(canvas, findings.tr, {cell.x, y}, cell.width, "reference", kReferencePen, s.referenceUv,
                findings.reference.slopeUvPerMs[lead]);
    y += kLineMm;
    if (!farthest.empty())
        DrawFigures(canvas, findings.tr, {cell.x, y}, cell.width, LongClock(s.seconds), kFarthestPen,
                    s.levelUv, s.slopeUvPerMs);
}

}  // namespace

void DrawEnlargedBeats(Canvas& canvas, const Findings& findings, const Box& contents, std::size_t first,
                       std::size_t count) {
    const LeadGrid grid = ChooseWideGrid(count);
    const Box area{contents.x, contents.y, contents.width, contents.height - kCaptionMm};
    for (std::size_t i = 0; i < count; ++i)
        DrawLeadBeats(canvas, findings, first + i, grid.Cell(area, i, kCellGapMm));
    DrawCaption(
        canvas, contents,
        findings.tr(
            "Squares of 40 ms, and of so many mV as stands with each lead: enlarged, not to the scale of a "
            "printed electrocardiogram. Dashed with rings: mean of the reference; full with dots: at the "
            "largest ST change of the lead. Rings and dots: J and ST point. All beats stand on their PR "
            "level."));
}

TraceRange FindBeatRange(const StressResult& result, std::size_t lead) {
    TraceRange all;
    for (const std::vector<float>* beat : {&ReferenceOf(result, lead), &FarthestOf(result, lead)}) {
        const TraceRange range = FindRange(*beat);
        all.lowestUv = std::min(all.lowestUv, range.lowestUv);
        all.highestUv = std::max(all.highestUv, range.highestUv);
    }
    return all;
}

SquareScale ChooseSquares(const TraceRange& range) {
    constexpr std::array kSteps{100.0, 200.0, 300.0, 500.0, 1000.0, 2000.0};
    for (const double uV : kSteps) {
        const double above = std::ceil(range.highestUv / uV), below = std::ceil(-range.lowestUv / uV);
        const double free = kBeatSquares - above - below;
        if (free >= 0) return {uV, static_cast<int>(above + std::floor(free / 2))};
    }
    return {kSteps.back(), kBeatSquares / 2};
}

void AddBeatPages(const Findings& findings, std::vector<ReportPage>& pages) {
    if (findings.leads.empty() || AreBeatsBelowStages(findings)) return;
    const std::size_t leads = findings.result.source.leads.size();
    const std::size_t perPage = SpreadEvenly(leads, kLeadsPerGrid);
    for (std::size_t first = 0; first < leads; first += perPage) {
        const std::size_t count = std::min(perPage, leads - first);
        pages.push_back({findings.tr("Averaged beats: reference and largest ST change" +
                                     NameSpan("leads", first, count, leads)),
                         Landscape(findings.paper),
                         [&findings, first, count](Canvas& canvas, const Box& contents) {
                             DrawEnlargedBeats(canvas, findings, contents, first, count);
                         }});
        pages.back().usedMm = NeededMm(findings.result, count, pages.back().size.Contents());
    }
}
