#include "host/report/StripPages.h"

#include <algorithm>
#include <cmath>

#include "host/support/IndexOf.h"
#include "host/support/Text.h"

namespace {

constexpr double kStrongMm = 5;
constexpr double kTitleMm = 8;     // above the papers of a block
constexpr double kPaperGapMm = 3;  // between the two papers of a block
constexpr double kBlockGapMm = 6;
constexpr std::size_t kMostLeadsPerBlock = 6;
constexpr double kLeastPitchMm = 25, kUsualPitchMm = 28, kTallestPitchMm = 56;

constexpr PaperScale kScales[] = {kUsualScale, kHalfGainScale, kQuarterGainScale};
// Largest peak-to-peak amplitude taken for ECG, uV; it fills a lane even at the smallest gain.
constexpr double kMostUv = 9000;
constexpr int kColumnMs = 40;       // 1 mm of paper
constexpr double kClearMm = 0.5;    // between a trace and its neighbour or the edge
constexpr double kLeastGapMm = 10;  // from line to line, and half of that from a line to the edge

// A lead's name on its white ground.
constexpr TextStyle kName{6.5, true, kInk};
constexpr double kNameX = 0.8;  // from the edge of the paper
constexpr double kWidestNameMm = 14;
constexpr double kNameAboveMm = 2.1, kNameBelowMm = 0.6;  // its baseline
constexpr double kNameOffMm = 2;                          // its line, at least

// The trace of a lead; empty if the strip does not have the lead.
const std::vector<float>& TraceOf(const std::vector<std::vector<float>>& leads, std::size_t lead) {
    static const std::vector<float> kNone;
    return lead < leads.size() ? leads[lead] : kNone;
}

double StripSeconds(const std::vector<Strip>& strips, int fs) {
    std::size_t samples = 0;
    for (const Strip& strip : strips)
        for (const auto* rows : {&strip.rawUv, &strip.cleanUv})
            for (const std::vector<float>& row : *rows) samples = std::max(samples, row.size());
    return fs > 0 ? static_cast<double>(samples) / fs : 0;
}

// How far a trace leaves its line within a column of paper.
struct Excursion {
    double upUv = 0, downUv = 0;
};

std::vector<Excursion> ListExcursions(const std::vector<float>& uV, int fs) {
    std::vector<Excursion> columns;
    if (!IsPlausible(uV)) return columns;
    const double middleUv = MiddleUv(uV);
    for (std::size_t i = 0; i < uV.size(); ++i) {
        if (!std::isfinite(uV[i])) continue;
        columns.resize(i * 1000 / (static_cast<std::size_t>(fs) * kColumnMs) + 1);
        Excursion& column = columns.back();
        column.upUv = std::max(column.upUv, uV[i] - middleUv);
        column.downUv = std::max(column.downUv, middleUv - uV[i]);
    }
    return columns;
}

// From the line of `upper` to that of `lower`. A deep S wave that meets no R wave below it needs no room, but
// no trace reaches its neighbour's line.
double FindGapUv(const std::vector<Excursion>& upper, const std::vector<Excursion>& lower) {
    const auto at = [](const std::vector<Excursion>& columns, std::size_t i) {
        return i < columns.size() ? columns[i] : Excursion{};
    };
    double mostUv = 0;
    for (std::size_t i = 0; i < std::max(upper.size(), lower.size()); ++i)
        for (std::size_t j = i - std::min<std::size_t>(i, 1); j <= i + 1; ++j)
            mostUv = std::max(mostUv, at(upper, i).downUv + at(lower, j).upUv);
    return mostUv;
}

// The gap above each line, and last the one below all, uV. A block without any plausible trace asks for the
// smallest gain: it has no others to squeeze.
std::vector<double> ListGapsUv(const Strip& strip, std::size_t firstLead, std::size_t leads, int fs) {
    std::vector<double> gapsUv(leads + 1);
    bool isAnyPlausible = false, areAllPlausible = true;
    for (const auto* rows : {&strip.rawUv, &strip.cleanUv}) {
        std::vector<Excursion> upper;
        for (std::size_t i = 0; i <= leads; ++i) {
            std::vector<Excursion> lower;
            if (i < leads) {
                const std::vector<float>& uV = TraceOf(*rows, firstLead + i);
                lower = ListExcursions(uV, fs);
                isAnyPlausible |= !lower.empty();
                areAllPlausible &= IsPlausible(uV);
            }
            gapsUv[i] = std::max(gapsUv[i], FindGapUv(upper, lower));
            upper = std::move(lower);
        }
    }
    if (!isAnyPlausible && !areAllPlausible) gapsUv.assign(leads + 1, kMostUv);
    return gapsUv;
}

// The lines at one gain; empty if they do not fit.
std::vector<double> FitLines(const std::vector<double>& gapsUv, double pitchMm, const PaperScale& scale) {
    const std::size_t leads = gapsUv.size() - 1;
    const auto gapMm = [&](std::size_t i) {
        const double leastMm = i == 0 || i == leads ? kLeastGapMm / 2 : kLeastGapMm;
        return std::max(leastMm, std::ceil(gapsUv[i] * scale.mmPerMv / 1000 + kClearMm));
    };
    std::vector<double> mm;
    for (std::size_t i = 0; i < leads; ++i) {
        const double even = std::floor((static_cast<double>(i) + 0.5) * pitchMm);
        mm.push_back(std::max(even, (i > 0 ? mm[i - 1] : 0) + gapMm(i)));
    }
    double below = pitchMm * static_cast<double>(leads);
    for (std::size_t i = leads; i-- > 0;) {
        mm[i] = std::min(mm[i], below - gapMm(i + 1));
        below = mm[i];
    }
    if (mm.front() < gapMm(0)) mm.clear();
    return mm;
}

StripLines FitLines(const std::vector<double>& gapsUv, double pitchMm) {
    for (const PaperScale& scale : kScales)
        if (std::vector<double> mm = FitLines(gapsUv, pitchMm, scale); !mm.empty())
            return {scale, std::move(mm)};
    return {kQuarterGainScale, FitLines(std::vector<double>(gapsUv.size()), pitchMm, kQuarterGainScale)};
}

// The part of the paper from half way to the line above to half way to the line below.
Box OwnPart(const Box& paper, const StripLines& lines, std::size_t i) {
    const double top = i == 0 ? 0 : (lines.mm[i - 1] + lines.mm[i]) / 2;
    const double bottom = i + 1 < lines.mm.size() ? (lines.mm[i] + lines.mm[i + 1]) / 2 : paper.height;
    return {paper.x, paper.y + top, paper.width, bottom - top};
}

// The stretch of height that the trace covers to the left of `right`.
Cover FindCover(const EcgPaper& line, const std::vector<float>& uV, int fs, double right) {
    const double middleUv = MiddleUv(uV);
    Cover cover;
    for (std::size_t i = 0; i < uV.size() && line.X(static_cast<double>(i) * 1000 / fs) <= right; ++i) {
        if (!std::isfinite(uV[i])) continue;
        const double y = std::clamp(line.Y(uV[i] - middleUv), line.Area().y, line.Area().Bottom());
        const bool isFirst = cover.lowest < cover.highest;
        cover = {isFirst ? y : std::min(cover.highest, y), isFirst ? y : std::max(cover.lowest, y)};
    }
    return cover;
}

void DrawPaper(Canvas& canvas, const StressResult& result, const std::vector<std::vector<float>>& rows,
               std::size_t firstLead, const StripLines& lines, const Box& box, const Pen& pen) {
    const int fs = result.source.fs;
    EcgPaper(box, lines.scale, box.y).DrawGrid(canvas);
    std::vector<EcgPaper> papers;
    for (std::size_t i = 0; i < lines.mm.size(); ++i) {
        const std::vector<float>& uV = TraceOf(rows, firstLead + i);
        papers.emplace_back(IsPlausible(uV) ? box : OwnPart(box, lines, i), lines.scale, box.y + lines.mm[i]);
        papers.back().DrawTrace(canvas, uV, MiddleUv(uV), fs, pen);
    }
    for (std::size_t i = 0; i < papers.size(); ++i) {
        const std::string& name = result.source.leads[firstLead + i];
        const double widthMm = std::min(kWidestNameMm, canvas.MeasureText(name, kName));
        std::vector<Cover> covers;
        for (std::size_t k = 0; k < papers.size(); ++k)
            covers.push_back(
                FindCover(papers[k], TraceOf(rows, firstLead + k), fs, box.x + 2 * kNameX + widthMm));
        const double y = PlaceName(OwnPart(box, lines, i), papers[i].Y(0), covers);
        canvas.FillBox({box.x + kNameX / 2, y - kNameAboveMm, widthMm + kNameX, kNameAboveMm + kNameBelowMm},
                       kWhite);
        canvas.DrawText({box.x + kNameX, y}, name, kName, kWidestNameMm);
    }
}

std::string DescribeTime(const Findings& findings, const Strip& strip) {
    std::string text = LongClock(strip.seconds);
    const std::vector<Stage>& stages = findings.exercise.stages;
    const auto next = std::find_if(stages.begin(), stages.end(),
                                   [&](const Stage& stage) { return stage.startSeconds > strip.seconds; });
    if (next != stages.begin()) {
        const Stage& stage = *std::prev(next);
        text += ", " + NameStage(stage, IndexOf(stages, std::prev(next)));
        if (const std::string power = DescribePower(stage); !power.empty()) text += " " + power;
    }
    const double bpm = RateAt(findings.result, strip.seconds);
    return std::isfinite(bpm) ? text + ", " + findings.tr(Number(bpm, 0) + " beats/min") : text;
}

std::string NameLeads(const StressResult& result, std::size_t first, std::size_t count) {
    const std::string& name = result.source.leads[first];
    return count > 1 ? "leads " + name + " to " + result.source.leads[first + count - 1] : name;
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
    const StripLines lines = PlaceLines(strip, firstLead, leads, result.source.fs, layout.pitchMm);
    const Box raw{corner.x, corner.y + kTitleMm, layout.paperMm, layout.PaperHeightMm()};
    const Box clean{raw.Right() + kPaperGapMm, raw.y, raw.width, raw.height};

    const double scaleMm = canvas.DrawText({clean.Right(), corner.y + 3}, DescribeScale(lines.scale),
                                           {7, true, kInk, Align::Right});
    canvas.DrawText(
        {corner.x, corner.y + 3},
        DescribeTime(findings, strip) +
            (layout.groups > 1 ? ": " + findings.tr.Name(NameLeads(result, firstLead, leads)) : ""),
        {8.5, true, kInk}, clean.Right() - corner.x - scaleMm - 3);
    canvas.DrawText({raw.x, raw.y - 1}, findings.tr("as recorded"), {6.5, false, kMuted});
    canvas.DrawText({clean.x, clean.y - 1}, findings.tr("as conditioned"), {6.5, false, kMuted});
    DrawPaper(canvas, result, strip.rawUv, firstLead, lines, raw, {kInk, 0.22});
    DrawPaper(canvas, result, strip.cleanUv, firstLead, lines, clean, {kInk, 0.26});
}

}  // namespace

double MiddleUv(const std::vector<float>& uV) {
    std::vector<float> finite;
    std::copy_if(uV.begin(), uV.end(), std::back_inserter(finite),
                 [](float value) { return std::isfinite(value); });
    if (finite.empty()) return 0;
    const auto middle = finite.begin() + std::ssize(finite) / 2;
    std::nth_element(finite.begin(), middle, finite.end());
    return *middle;
}

bool IsPlausible(const std::vector<float>& uV) {
    const TraceRange range = FindRange(uV);
    return range.highestUv - range.lowestUv <= kMostUv;
}

StripLines PlaceLines(const Strip& strip, std::size_t firstLead, std::size_t leads, int fs, double pitchMm) {
    return FitLines(ListGapsUv(strip, firstLead, leads, fs), pitchMm);
}

double PlaceName(const Box& part, double line, const std::vector<Cover>& covers) {
    const auto isFree = [&](double y) {
        const double top = y - kNameAboveMm, bottom = y + kNameBelowMm;
        return top >= part.y && bottom <= part.Bottom() &&
               std::none_of(covers.begin(), covers.end(), [&](const Cover& cover) {
                   return cover.highest <= cover.lowest && cover.highest <= bottom && cover.lowest >= top;
               });
    };
    const double steps = std::floor(part.height);  // of 1 mm
    for (int step = 0; step < steps; ++step) {
        const double mm = kNameOffMm + step;
        for (const double y : {line - mm, line + kNameAboveMm + mm})
            if (isFree(y)) return y;
    }
    return line - kNameOffMm;
}

StripLayout PlanStrips(const std::vector<Strip>& strips, std::size_t leads, int fs) {
    StripLayout layout;
    layout.groups = (leads + kMostLeadsPerBlock - 1) / kMostLeadsPerBlock;
    layout.leadsPerBlock = (leads + layout.groups - 1) / layout.groups;
    const double widest = std::floor((kContents.width - kPaperGapMm) / 2 / kStrongMm) * kStrongMm;
    const double paperMm = StripSeconds(strips, fs) * kUsualScale.mmPerSecond;
    layout.paperMm = std::clamp(std::ceil(paperMm / kStrongMm - 1e-6) * kStrongMm, 2 * kStrongMm, widest);
    const double blockMm = 2 * layout.paperMm + kPaperGapMm;
    layout.columns = static_cast<std::size_t>((kContents.width + kBlockGapMm) / (blockMm + kBlockGapMm));

    const auto count = static_cast<double>(layout.leadsPerBlock);
    const double leastMm = kTitleMm + kLeastPitchMm * count + kBlockGapMm;
    const auto mostRows = static_cast<std::size_t>((kContents.height + kBlockGapMm) / leastMm);
    const std::size_t neededRows = (strips.size() * layout.groups + layout.columns - 1) / layout.columns;
    layout.rows = std::clamp<std::size_t>(neededRows, 1, mostRows);
    const double blockHeight = (kContents.height + kBlockGapMm) / static_cast<double>(layout.rows);
    // Pitches are whole squares, so that every line lies alike on the grid.
    const double tallest =
        std::min(kTallestPitchMm, std::floor((blockHeight - kBlockGapMm - kTitleMm) / count));
    layout.pitchMm = std::min(kUsualPitchMm, tallest);
    for (const Strip& strip : strips) {
        for (std::size_t group = 0; group < layout.groups; ++group) {
            const std::size_t first = group * layout.leadsPerBlock;
            const std::vector<double> gapsUv =
                ListGapsUv(strip, first, std::min(layout.leadsPerBlock, leads - first), fs);
            const double mmPerMv = FitLines(gapsUv, tallest).scale.mmPerMv;
            while (FitLines(gapsUv, layout.pitchMm).scale.mmPerMv < mmPerMv) ++layout.pitchMm;
        }
    }
    return layout;
}

Point StripLayout::Corner(std::size_t index) const {
    const std::size_t column = index % columns, row = index / columns;
    return {kContents.x + static_cast<double>(column) * (2 * paperMm + kPaperGapMm + kBlockGapMm),
            kContents.y + static_cast<double>(row) * (kTitleMm + PaperHeightMm() + kBlockGapMm)};
}

void AddStripPages(const Findings& findings, std::vector<ReportPage>& pages) {
    const StressResult& result = findings.result;
    if (result.strips.empty() || result.source.leads.empty()) return;
    const StripLayout layout = PlanStrips(result.strips, result.source.leads.size(), result.source.fs);
    const std::size_t blocks = result.strips.size() * layout.groups;
    const std::size_t perPage = layout.columns * layout.rows;
    for (std::size_t first = 0; first < blocks; first += perPage) {
        const std::size_t count = std::min(perPage, blocks - first);
        pages.push_back(
            {findings.tr(NameStrips(result, first / layout.groups, (first + count - 1) / layout.groups)),
             [&findings, layout, first, count](Canvas& canvas) {
                 const auto& strips = findings.result.strips;
                 for (std::size_t i = 0; i < count; ++i) {
                     const std::size_t block = first + i;
                     DrawBlock(canvas, findings, strips[block / layout.groups],
                               block % layout.groups * layout.leadsPerBlock, layout, layout.Corner(i));
                 }
             }});
    }
}
