#include "host/report/StripPages.h"

#include <algorithm>
#include <cmath>

#include "host/Text.h"
#include "host/report/Pages.h"
#include "host/report/TrendPlot.h"

namespace {

constexpr double kStrongMm = 5;
constexpr double kTitleMm = 8;     // above the papers of a block
constexpr double kPaperGapMm = 3;  // between its two papers
constexpr double kBlockGapMm = 6;
constexpr std::size_t kMostLeadsPerBlock = 6;
constexpr double kTallestPitchMm = 28;
constexpr double kReachPitches = 1.0;  // a trace is cut where it leaves its line by more
constexpr double kOverlapMm = 1;       // that neighbours may run into each other

double Lines(const Box& area, double pitchMm, std::size_t line) {
    return area.y + (static_cast<double>(line) + 0.5) * pitchMm;
}

// As much as there is, and nothing of a lead that is not there.
const std::vector<float>& TraceOf(const std::vector<std::vector<float>>& leads, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < leads.size() ? leads[lead] : kNone;
}

double StripSeconds(const StressResult& result) {
    std::size_t samples = 0;
    for (const Strip& strip : result.strips)
        for (const auto* rows : {&strip.rawUv, &strip.cleanUv})
            for (const std::vector<float>& row : *rows) samples = std::max(samples, row.size());
    return result.source.fs > 0 ? static_cast<double>(samples) / result.source.fs : 0;
}

void DrawPaper(Canvas& canvas, const StressResult& result, const std::vector<std::vector<float>>& rows,
               std::size_t firstLead, std::size_t leads, const Box& box, double pitchMm,
               const PaperScale& scale, const Pen& pen) {
    EcgPaper(box, scale, box.y).DrawGrid(canvas);
    for (std::size_t i = 0; i < leads; ++i) {
        const double zero = Lines(box, pitchMm, i);
        const std::vector<float>& uV = TraceOf(rows, firstLead + i);
        // The lines keep their own part of the paper and some of their neighbours'.
        const double top = std::max(box.y, zero - pitchMm * (0.5 + kReachPitches));
        const double bottom = std::min(box.Bottom(), zero + pitchMm * (0.5 + kReachPitches));
        const EcgPaper line({box.x, top, box.width, bottom - top}, scale, zero);
        line.DrawTrace(canvas, uV, MiddleUv(uV), result.source.fs, pen);
    }
    for (std::size_t i = 0; i < leads; ++i)
        canvas.DrawText({box.x + 0.8, Lines(box, pitchMm, i) - 0.36 * pitchMm},
                        result.source.leads[firstLead + i], {6.5, true, kInk}, 14);
}

std::string DescribeTime(const Findings& findings, const Strip& strip) {
    std::string text = LongClock(strip.seconds);
    const std::vector<Stage>& stages = findings.exercise.stages;
    const auto next = std::find_if(stages.begin(), stages.end(),
                                   [&](const Stage& stage) { return stage.startSeconds > strip.seconds; });
    if (next != stages.begin()) {
        const Stage& stage = *std::prev(next);
        text += ", " + NameStage(stage, static_cast<std::size_t>(std::prev(next) - stages.begin()));
        if (const std::string power = DescribePower(stage); !power.empty()) text += " " + power;
    }
    const double bpm = RateAt(findings.result, strip.seconds);
    return std::isfinite(bpm) ? text + ", " + Number(bpm, 0) + " beats/min" : text;
}

std::string NameLeads(const StressResult& result, std::size_t first, std::size_t count) {
    const std::string& name = result.source.leads[first];
    return count > 1 ? name + " to " + result.source.leads[first + count - 1] : name;
}

std::string NameStrips(const StressResult& result, std::size_t first, std::size_t last) {
    const std::string from = LongClock(result.strips[first].seconds),
                      to = LongClock(result.strips[last].seconds);
    return "Signal at " + (from == to ? from : from + " to " + to) + ", as recorded and as conditioned";
}

void DrawBlock(Canvas& canvas, const Findings& findings, const Strip& strip, std::size_t firstLead,
               const StripLayout& layout, Point corner) {
    const StressResult& result = findings.result;
    const std::size_t leads = std::min(layout.leadsPerBlock, result.source.leads.size() - firstLead);
    const PaperScale scale = ChooseStripScale(strip, firstLead, leads, layout.pitchMm);
    const Box raw{corner.x, corner.y + kTitleMm, layout.paperMm, layout.PaperHeightMm()};
    const Box clean{raw.Right() + kPaperGapMm, raw.y, raw.width, raw.height};

    const double scaleMm =
        canvas.DrawText({clean.Right(), corner.y + 3}, DescribeScale(scale), {7, true, kInk, Align::Right});
    canvas.DrawText(
        {corner.x, corner.y + 3},
        DescribeTime(findings, strip) + (layout.groups > 1 ? ": " + NameLeads(result, firstLead, leads) : ""),
        {8.5, true, kInk}, clean.Right() - corner.x - scaleMm - 3);
    canvas.DrawText({raw.x, raw.y - 1}, "as recorded", {6.5, false, kMuted});
    canvas.DrawText({clean.x, clean.y - 1}, "as conditioned", {6.5, false, kMuted});
    DrawPaper(canvas, result, strip.rawUv, firstLead, leads, raw, layout.pitchMm, scale, {kInk, 0.22});
    DrawPaper(canvas, result, strip.cleanUv, firstLead, leads, clean, layout.pitchMm, scale, {kInk, 0.26});
}

}  // namespace

double MiddleUv(const std::vector<float>& uV) {
    std::vector<float> finite;
    std::copy_if(uV.begin(), uV.end(), std::back_inserter(finite),
                 [](float value) { return std::isfinite(value); });
    if (finite.empty()) return 0;
    const auto middle = finite.begin() + static_cast<std::ptrdiff_t>(finite.size() / 2);
    std::nth_element(finite.begin(), middle, finite.end());
    return *middle;
}

PaperScale ChooseStripScale(const Strip& strip, std::size_t firstLead, std::size_t leads, double pitchMm) {
    for (const auto* rows : {&strip.rawUv, &strip.cleanUv}) {
        double belowUv = 0;  // the middle of the lead above
        for (std::size_t i = 0; i < leads; ++i) {
            const std::vector<float>& uV = TraceOf(*rows, firstLead + i);
            const TraceRange range = FindRange(uV);
            const double middle = MiddleUv(uV);
            const double aboveUv = range.highestUv - middle;
            // The first line has but half a pitch of paper above it, and the last below it.
            const auto fits = [&](double needUv, double roomMm, const PaperScale& scale) {
                return needUv * scale.mmPerMv / 1000 <= roomMm + kOverlapMm;
            };
            const auto decides = [&](double needUv, double roomMm) {
                return !fits(needUv, roomMm, kUsualScale) && fits(needUv, roomMm, kHalfGainScale);
            };
            if (decides(aboveUv + belowUv, i == 0 ? pitchMm / 2 : pitchMm)) return kHalfGainScale;
            belowUv = middle - range.lowestUv;
            if (i + 1 == leads && decides(belowUv, pitchMm / 2)) return kHalfGainScale;
        }
    }
    return kUsualScale;
}

StripLayout PlanStrips(std::size_t leads, double seconds) {
    StripLayout layout;
    layout.groups = (leads + kMostLeadsPerBlock - 1) / kMostLeadsPerBlock;
    layout.leadsPerBlock = (leads + layout.groups - 1) / layout.groups;
    const double widest = std::floor((kContents.width - kPaperGapMm) / 2 / kStrongMm) * kStrongMm;
    layout.paperMm = std::clamp(std::ceil(seconds * kUsualScale.mmPerSecond / kStrongMm - 1e-6) * kStrongMm,
                                2 * kStrongMm, widest);
    const double blockMm = 2 * layout.paperMm + kPaperGapMm;
    layout.columns = static_cast<std::size_t>((kContents.width + kBlockGapMm) / (blockMm + kBlockGapMm));
    const auto count = static_cast<double>(layout.leadsPerBlock);
    // Whole squares, so that every line of zero lies alike on the grid.
    layout.pitchMm = std::clamp(std::floor((kContents.height - kTitleMm) / count), 1.0, kTallestPitchMm);
    const double blockHeight = kTitleMm + layout.PaperHeightMm();
    layout.rows = std::max<std::size_t>(
        1, static_cast<std::size_t>((kContents.height + kBlockGapMm) / (blockHeight + kBlockGapMm)));
    return layout;
}

double StripLayout::PaperHeightMm() const { return pitchMm * static_cast<double>(leadsPerBlock); }

Point StripLayout::Corner(std::size_t index) const {
    const std::size_t column = index % columns, row = index / columns;
    return {kContents.x + static_cast<double>(column) * (2 * paperMm + kPaperGapMm + kBlockGapMm),
            kContents.y + static_cast<double>(row) * (kTitleMm + PaperHeightMm() + kBlockGapMm)};
}

void AddStripPages(const Findings& findings, std::vector<ReportPage>& pages) {
    const StressResult& result = findings.result;
    if (result.strips.empty() || result.source.leads.empty()) return;
    const StripLayout layout = PlanStrips(result.source.leads.size(), StripSeconds(result));
    const std::size_t blocks = result.strips.size() * layout.groups;
    const std::size_t perPage = layout.columns * layout.rows;
    for (std::size_t first = 0; first < blocks; first += perPage) {
        const std::size_t count = std::min(perPage, blocks - first);
        pages.push_back({NameStrips(result, first / layout.groups, (first + count - 1) / layout.groups),
                         [&findings, layout, first, count](Canvas& canvas) {
                             const auto& strips = findings.result.strips;
                             for (std::size_t i = 0; i < count; ++i) {
                                 const std::size_t block = first + i;
                                 DrawBlock(canvas, findings, strips[block / layout.groups],
                                           block % layout.groups * layout.leadsPerBlock, layout,
                                           layout.Corner(i));
                             }
                         }});
    }
}
