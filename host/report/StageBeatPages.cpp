#include "host/report/StageBeatPages.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

#include "host/report/BeatPages.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr double kNarrowestNamesMm = 9, kWidestNamesMm = 24;  // of leads
constexpr double kBeatGapMm = 2, kPaperMm = 30;
constexpr double kHeadMm = 3 * kLineMm + 1;                // name, in two lines, and time of a column
constexpr double kLeadRowMm = kPaperMm + 2 * kLineMm + 2;  // paper, level and slope of a lead
constexpr double kMarginMm = 1;                            // between a beat and the edge of its paper
constexpr double kWidestBeatMm = 30;
constexpr double kLeastBelowMm = 60;  // height for the beats of BeatPages
constexpr TextStyle kNameStyle{9, true, kInk};

struct Column {
    std::string name;
    double seconds = 0;
    const std::vector<std::vector<float>>* beats = nullptr;  // [lead][sample]
    const STReading* reading = nullptr;                      // null of the reference
    double jMs = kNothing;
    bool isStageEnd = false;
};

double StagesMm(std::size_t leads) { return kHeadMm + static_cast<double>(leads) * kLeadRowMm + kCaptionMm; }

// As wide as the widest name of a lead, but leaves the beats most of the page.
double LeadNameMm(const StressResult& result) {
    const ScratchCanvas scratch;
    double widest = 0;
    for (const std::string& lead : result.source.leads)
        widest = std::max(widest, (*scratch).MeasureText(lead, kNameStyle));
    return std::clamp(widest + kBeatGapMm, kNarrowestNamesMm, kWidestNamesMm);
}

std::size_t ColumnsIn(const StressResult& result, const PageSize& size) {
    return static_cast<std::size_t>((size.Contents().width - LeadNameMm(result)) /
                                    (BeatPaperMm(result) + kBeatGapMm));
}

// Of more columns than `most` every second, third, ... end of a stage is left, with the last of them.
std::vector<Column> ListColumns(const Findings& findings, std::size_t most) {
    const StressResult& result = findings.result;
    const std::vector<Stage>& stages = findings.exercise.stages;
    const std::optional<Span> work = FindWork(stages, result.seconds);
    std::vector<Column> columns{
        {findings.tr("reference"), kNothing, &result.referenceBeatUv, nullptr, result.referenceJMs}};
    for (const BeatsThen& then : result.asked) {
        const double at = then.askedSeconds;
        const bool isStageEnd = work && at <= work->toSeconds;
        // The end of a stage is the start of the next.
        const std::optional<std::size_t> stage = StageAt(stages, std::nextafter(at, 0));
        std::string name = stage ? findings.tr("end of " + NameStage(stages[*stage], *stage)) : "";
        if (work && !isStageEnd)
            name = findings.tr("after " + Number((at - work->toSeconds) / kSecondsPerMinute, 0) + " min");
        columns.push_back({name, at, &then.uV, &result.beats.at(then.reading), then.jMs, isStageEnd});
    }
    if (result.peak) {
        const auto later = std::find_if(columns.begin() + 1, columns.end(), [&](const Column& column) {
            return column.seconds > result.peak->askedSeconds;
        });
        columns.insert(later, {findings.tr("peak"), result.peak->askedSeconds, &result.peak->uV,
                               &result.beats.at(result.peak->reading), result.peak->jMs});
    }
    const auto ends = static_cast<std::size_t>(std::count_if(
        columns.begin(), columns.end(), [](const Column& column) { return column.isStageEnd; }));
    const std::size_t others = columns.size() - ends;
    const std::size_t room = most > others ? most - others : 1;
    const std::size_t stride = ends / room + (ends % room == 0 ? 0 : 1);
    std::size_t left = ends;
    std::erase_if(columns, [&](const Column& column) { return column.isStageEnd && --left % stride != 0; });
    return columns;
}

// Portrait if all columns fit so.
PageSize ChooseSize(const Findings& findings) {
    if (AreBeatsBelowStages(findings)) return Landscape(findings.paper);
    const PageSize portrait = Portrait(findings.paper);
    const std::size_t all = ListColumns(findings, std::numeric_limits<std::size_t>::max()).size();
    return all <= ColumnsIn(findings.result, portrait) ? portrait : Landscape(findings.paper);
}

const std::vector<float>& BeatOf(const Column& column, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < column.beats->size() ? (*column.beats)[lead] : kNone;
}

TraceRange RangeOf(const std::vector<Column>& columns, std::size_t lead) {
    TraceRange all;
    for (const Column& column : columns) {
        const std::vector<float>& beat = BeatOf(column, lead);
        const TraceRange range = FindRange(beat);
        all.lowestUv = std::min(all.lowestUv, range.lowestUv);
        all.highestUv = std::max(all.highestUv, range.highestUv);
    }
    return all;
}

// The largest gain at which every beat has room.
PaperScale ChooseScale(const StressResult& result, const std::vector<Column>& columns) {
    for (const PaperScale& scale : {kUsualScale, kHalfGainScale}) {
        bool fits = true;
        for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
            const TraceRange range = RangeOf(columns, lead);
            fits = fits &&
                   (range.highestUv - range.lowestUv) * scale.mmPerMv / kUvPerMv <= kPaperMm - 2 * kMarginMm;
        }
        if (fits) return scale;
    }
    return kQuarterGainScale;
}

// A ring at J, a dot at the ST point: they differ without their colours.
void DrawMarks(Canvas& canvas, const StressResult& result, const EcgPaper& paper,
               const std::vector<float>& beat, double jMs, double stMs) {
    const ClipTo clip(canvas, paper.Area());
    const double j = paper.Y(BeatHeightUv(result, beat, jMs)), st = paper.Y(BeatHeightUv(result, beat, stMs));
    if (std::isfinite(j)) canvas.DrawRing({paper.X(jMs), j}, 0.45, {kBlue, 0.2});
    if (std::isfinite(st)) canvas.FillDisc({paper.X(stMs), st}, 0.5, kAccent);
}

void DrawStageBeats(Canvas& canvas, const Findings& findings, const Box& contents, std::size_t first,
                    std::size_t count) {
    const StressResult& result = findings.result;
    const std::vector<Column> columns = ListColumns(findings, ColumnsIn(result, ChooseSize(findings)));
    const PaperScale scale = ChooseScale(result, columns);
    const double paperMm = BeatPaperMm(result), nameMm = LeadNameMm(result);
    const auto left = [&](std::size_t column) {
        return contents.x + nameMm + static_cast<double>(column) * (paperMm + kBeatGapMm);
    };
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const double width = paperMm + kBeatGapMm - 1.5;
        canvas.DrawParagraph({left(i), contents.y - 1}, width, 2, columns[i].name, {8, true, kInk});
        if (std::isfinite(columns[i].seconds))
            canvas.DrawText({left(i), contents.y + kHeadMm - 1.5}, LongClock(columns[i].seconds), kMutedStyle,
                            width);
    }
    for (std::size_t row = 0; row < count; ++row) {
        const std::size_t lead = first + row;
        const double y = contents.y + kHeadMm + static_cast<double>(row) * kLeadRowMm;
        canvas.DrawText({contents.x, y + kPaperMm / 2}, result.source.leads[lead], kNameStyle, nameMm - 1);
        const TraceRange range = RangeOf(columns, lead);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const Column& column = columns[i];
            const EcgPaper paper = PlaceBeat({left(i), y, paperMm, kPaperMm}, scale, range);
            paper.DrawGrid(canvas);
            const std::vector<float>& beat = BeatOf(column, lead);
            paper.DrawTrace(canvas, beat, 0, result.source.fs, {kInk, 0.35});
            const bool isReference = column.reading == nullptr;
            DrawMarks(canvas, result, paper, beat, column.jMs,
                      column.jMs + (isReference ? result.stPoint.UsualMs() : column.reading->stPointMs));
            const double levelUv =
                isReference ? findings.reference.levelUv[lead] : column.reading->levelUv[lead];
            const double slope =
                isReference ? findings.reference.slopeUvPerMs[lead] : column.reading->slopeUvPerMs[lead];
            canvas.DrawText({left(i), y + kPaperMm + 3}, "ST " + Number(levelUv, 0) + " µV", kTextStyle);
            canvas.DrawText({left(i), y + kPaperMm + 3 + kLineMm}, Number(slope, 2) + " µV/ms", kMutedStyle);
        }
    }
    DrawCaption(canvas, contents,
                findings.tr(DescribeScale(scale, canvas.IsTrueToScale()) +
                            "; each beat stands on its PR level. Below: ST level and slope. Ring: J; dot: ST "
                            "point."));
}

}  // namespace

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

bool AreBeatsBelowStages(const Findings& findings) {
    const double room = Landscape(findings.paper).Contents().height;
    return !findings.result.asked.empty() && !findings.leads.empty() &&
           StagesMm(findings.result.source.leads.size()) + kLeastBelowMm + kCaptionMm <= room;
}

void AddStageBeatPages(const Findings& findings, std::vector<ReportPage>& pages) {
    if (findings.result.asked.empty()) return;
    const PageSize size = ChooseSize(findings);
    const std::size_t leads = findings.result.source.leads.size();
    if (AreBeatsBelowStages(findings)) {
        pages.push_back(
            {findings.tr("Averaged beats"), size, [&findings, leads](Canvas& canvas, const Box& contents) {
                 const double stagesMm = StagesMm(leads), belowMm = contents.height - stagesMm;
                 DrawStageBeats(canvas, findings, {contents.x, contents.y, contents.width, stagesMm}, 0,
                                leads);
                 DrawEnlargedBeats(canvas, findings,
                                   {contents.x, contents.y + stagesMm, contents.width, belowMm}, 0, leads);
             }});
        return;
    }
    const auto most = static_cast<std::size_t>((size.Contents().height - kCaptionMm - kHeadMm) / kLeadRowMm);
    const std::size_t perPage = SpreadEvenly(leads, most);
    for (std::size_t first = 0; first < leads; first += perPage) {
        const std::size_t shown = std::min(perPage, leads - first);
        pages.push_back({findings.tr("Averaged beats by stages" + NameSpan("leads", first, shown, leads)),
                         size, [&findings, first, shown](Canvas& canvas, const Box& contents) {
                             DrawStageBeats(canvas, findings, contents, first, shown);
                         }});
        pages.back().usedMm = StagesMm(shown);
    }
}
