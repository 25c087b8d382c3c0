#include "host/report/StageBeatPages.h"

#include <algorithm>
#include <cmath>
#include <string>

#include "host/report/BeatPages.h"
#include "host/report/EcgPaper.h"
#include "host/support/Text.h"
#include "host/support/Units.h"

namespace {

constexpr std::size_t kLeadsPerPage = 4;
constexpr double kNameMm = 11, kGapMm = 2, kHeadMm = 8, kPaperMm = 35;
constexpr double kMarginMm = 1;  // between a beat and the edge of its paper

struct Column {
    std::string name, when;
    const std::vector<std::vector<float>>* beats = nullptr;  // [lead][sample]
    const STReading* reading = nullptr;                      // null of the reference
    bool isWork = false;
};

std::vector<Column> ListColumns(const Findings& findings) {
    const StressResult& result = findings.result;
    const std::vector<Stage>& stages = findings.exercise.stages;
    const std::optional<Span> work = FindWork(stages, result.seconds);
    std::vector<Column> columns{{findings.tr("reference"), "", &result.referenceBeatUv, nullptr, false}};
    for (const BeatsThen& then : result.asked) {
        const double at = then.askedSeconds;
        const bool isWork = work && at <= work->toSeconds;
        // The end of a stage is the start of the next.
        const std::optional<std::size_t> stage = StageAt(stages, std::nextafter(at, 0));
        std::string name = stage ? NameStage(stages[*stage], *stage) : "";
        if (work && !isWork)
            name = findings.tr("after " + Number((at - work->toSeconds) / kSecondsPerMinute, 0) + " min");
        columns.push_back({name, LongClock(at), &then.uV, &result.beats.at(then.reading), isWork});
    }
    // Of more stages than have room every second, third, ... is left, with the last of them.
    const auto most = static_cast<std::size_t>((kContents.width - kNameMm) / (BeatPaperMm(result) + kGapMm));
    const auto works = static_cast<std::size_t>(
        std::count_if(columns.begin(), columns.end(), [](const Column& column) { return column.isWork; }));
    const std::size_t others = columns.size() - works;
    const std::size_t room = most > others ? most - others : 1, stride = (works + room - 1) / room;
    std::size_t left = works;
    std::erase_if(columns, [&](const Column& column) { return column.isWork && --left % stride != 0; });
    return columns;
}

const std::vector<float>& BeatOf(const Column& column, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < column.beats->size() ? (*column.beats)[lead] : kNone;
}

TraceRange RangeOf(const StressResult& result, const std::vector<Column>& columns, std::size_t lead) {
    TraceRange all;
    for (const Column& column : columns) {
        const std::vector<float>& beat = BeatOf(column, lead);
        const TraceRange range = FindRange(beat);
        const double zeroUv = PrLevelUv(result, beat);
        all.lowestUv = std::min(all.lowestUv, range.lowestUv - zeroUv);
        all.highestUv = std::max(all.highestUv, range.highestUv - zeroUv);
    }
    return all;
}

// The largest gain at which every beat has room.
PaperScale ChooseScale(const StressResult& result, const std::vector<Column>& columns) {
    for (const PaperScale& scale : {kUsualScale, kHalfGainScale}) {
        bool fits = true;
        for (std::size_t lead = 0; lead < result.source.leads.size(); ++lead) {
            const TraceRange range = RangeOf(result, columns, lead);
            fits = fits &&
                   (range.highestUv - range.lowestUv) * scale.mmPerMv / kUvPerMv <= kPaperMm - 2 * kMarginMm;
        }
        if (fits) return scale;
    }
    return kQuarterGainScale;
}

void DrawMark(Canvas& canvas, const StressResult& result, const EcgPaper& paper,
              const std::vector<float>& beat, double ms, const Colour& colour) {
    const long sample = std::lround(ms * result.source.fs / kMsPerSecond);
    if (sample < 0 || sample >= std::ssize(beat)) return;
    const double y = paper.Y(beat.begin()[sample] - PrLevelUv(result, beat));
    const ClipTo clip(canvas, paper.Area());
    if (std::isfinite(y)) canvas.FillDisc({paper.X(ms), y}, 0.45, colour);
}

void DrawStageBeats(Canvas& canvas, const Findings& findings, std::size_t first, std::size_t count) {
    const StressResult& result = findings.result;
    const std::vector<Column> columns = ListColumns(findings);
    const PaperScale scale = ChooseScale(result, columns);
    const double paperMm = BeatPaperMm(result);
    const double rowMm = (kContents.height - kCaptionMm - kHeadMm) / kLeadsPerPage;
    const auto left = [&](std::size_t column) {
        return kContents.x + kNameMm + static_cast<double>(column) * (paperMm + kGapMm);
    };
    for (std::size_t i = 0; i < columns.size(); ++i) {
        canvas.DrawText({left(i), kContents.y + 2}, columns[i].name, {7, true, kInk}, paperMm + kGapMm - 0.5);
        canvas.DrawText({left(i), kContents.y + 5.2}, columns[i].when, {6.5, false, kMuted});
    }
    for (std::size_t row = 0; row < count; ++row) {
        const std::size_t lead = first + row;
        const double y = kContents.y + kHeadMm + static_cast<double>(row) * rowMm;
        canvas.DrawText({kContents.x, y + kPaperMm / 2}, result.source.leads[lead], {9, true, kInk},
                        kNameMm - 1);
        const TraceRange range = RangeOf(result, columns, lead);
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const Column& column = columns[i];
            const EcgPaper paper = PlaceBeat({left(i), y, paperMm, kPaperMm}, scale, range);
            paper.DrawGrid(canvas);
            const std::vector<float>& beat = BeatOf(column, lead);
            paper.DrawTrace(canvas, beat, PrLevelUv(result, beat), result.source.fs, {kInk, 0.35});
            const double jMs = result.positions.j;
            const double stMs =
                column.reading != nullptr ? jMs + column.reading->stPointMs : STPointMs(result);
            DrawMark(canvas, result, paper, beat, jMs, kBlue);
            DrawMark(canvas, result, paper, beat, stMs, kAccent);
            const bool isReference = column.reading == nullptr;
            const double levelUv =
                isReference ? findings.reference.levelUv[lead] : column.reading->levelUv[lead];
            const double slope =
                isReference ? findings.reference.slopeUvPerMs[lead] : column.reading->slopeUvPerMs[lead];
            canvas.DrawText({left(i), y + kPaperMm + 2.5},
                            "ST " + Number(levelUv, 0) + ", " + Number(slope, 2), {6.5, false, kInk},
                            paperMm + kGapMm - 0.5);
        }
    }
    DrawCaption(
        canvas,
        findings.tr(DescribeScale(scale) +
                    ", squares of 1 mm; each beat stands on its PR level. Below: ST level in µV, slope in "
                    "µV/ms. Dots: J as in the first averaged beat (blue), ST point (red)."));
}

}  // namespace

void AddStageBeatPages(const Findings& findings, std::vector<ReportPage>& pages) {
    if (findings.result.asked.empty()) return;
    const std::size_t leads = findings.result.source.leads.size();
    for (std::size_t first = 0; first < leads; first += kLeadsPerPage) {
        const std::size_t count = std::min(kLeadsPerPage, leads - first);
        pages.push_back(
            {findings.tr("Averaged beats by stages" + NameSpan("leads", first, count, leads)),
             [&findings, first, count](Canvas& canvas) { DrawStageBeats(canvas, findings, first, count); }});
    }
}
