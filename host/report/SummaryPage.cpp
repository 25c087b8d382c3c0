#include "host/report/SummaryPage.h"

#include <algorithm>

#include "host/report/Cautions.h"
#include "host/report/TrendPages.h"

namespace {

constexpr int kHeaderLines = 5, kRecordLines = 3, kResultLines = 6;  // of a text at most
constexpr double kColumnGapMm = 6;
constexpr double kLowestPlotMm = 25, kTallestPlotMm = 85;
constexpr double kPlotLeftMm = 9, kPlotRightMm = 5, kPlotAboveMm = 12,
                 kPlotBelowMm = 6;  // of titles and figures
constexpr double kConclusionMm = 30;
constexpr double kMostCautionsMm = 45;
constexpr double kPartGapMm = 4;
constexpr double kBelowTitleMm = 5;

// The height of a text in as many lines as it takes, mm.
double MeasureParagraph(const std::string& text, double widthMm) {
    constexpr int kAllLines = 100;
    return (*ScratchCanvas()).DrawParagraph({0, 0}, widthMm, kAllLines, text, kTextStyle);
}

double ColumnMm(double widthMm) { return (widthMm - kColumnGapMm) / 2; }

// As wide as the widest label, but leaves the values half of the column.
double LabelMm(Canvas& canvas, double columnMm, const std::vector<Fact>& facts) {
    constexpr double kBetweenMm = 3;
    double widest = 0;
    for (const Fact& fact : facts) widest = std::max(widest, canvas.MeasureText(fact.label, kMutedStyle));
    return std::min(widest + kBetweenMm, columnMm / 2);
}

// Facts in two columns, about as long as each other. Returns the height used, mm.
double DrawColumns(Canvas& canvas, const Box& box, int lines, const std::vector<Fact>& facts) {
    const double width = ColumnMm(box.width), labelMm = LabelMm(canvas, width, facts);
    const auto middle = facts.begin() + (std::ssize(facts) + 1) / 2;
    return std::max(
        DrawFacts(canvas, {box.x, box.y, width, 0}, labelMm, lines, {facts.begin(), middle}),
        DrawFacts(canvas, {box.Right() - width, box.y, width, 0}, labelMm, lines, {middle, facts.end()}));
}

// The patient in full, above the recording; texts too long for this page stand among the notes. Returns
// the height used, mm.
double DrawHeader(Canvas& canvas, const Findings& findings, const Box& box) {
    double y = box.y - 1;
    y += DrawColumns(canvas, {box.x, y, box.width, 0}, kHeaderLines, ListPatient(findings));
    canvas.DrawLine({box.x, y + 0.3}, {box.Right(), y + 0.3}, {kRule, 0.2});
    y += 1.5;
    y += DrawColumns(canvas, {box.x, y, box.width, 0}, kRecordLines, ListFacts(findings));
    return y - box.y;
}

struct DrawnCautions {
    double heightMm = 0;
    bool areCut = false;
};

// As many as have room, each in two lines at most.
DrawnCautions DrawCautions(Canvas& canvas, const Findings& findings, const Box& box) {
    constexpr double kInsetMm = 2.5;
    constexpr int kLines = 2;
    const std::vector<std::string> cautions = ListCautions(findings);
    if (cautions.empty()) return {};
    DrawnCautions drawn;
    const double x = box.x + kInsetMm;
    canvas.DrawText({x, box.y + 3.5}, findings.tr("What to know before reading"), {9.5, true, kAccent});
    double y = box.y + kBelowTitleMm;
    for (std::size_t i = 0; i < cautions.size(); ++i) {
        const bool isLast = y + 3 * kLineMm > box.y + kMostCautionsMm && i + 1 < cautions.size();
        const std::string text =
            isLast ? findings.tr("And " + std::to_string(cautions.size() - i) + " more: see the notes.")
                   : cautions[i];
        const double width = box.width - kInsetMm;
        const double textMm = canvas.DrawParagraph({x, y}, width, kLines, text, kTextStyle);
        drawn.areCut |= isLast || MeasureParagraph(text, width) > textMm;
        y += 0.8 + textMm;
        if (isLast) break;
    }
    canvas.DrawLine({box.x + 0.5, box.y}, {box.x + 0.5, y}, {kAccent, 1});
    drawn.heightMm = y - box.y + kPartGapMm;
    return drawn;
}

// Room to write by hand.
void DrawConclusion(Canvas& canvas, const Language& tr, const Box& box) {
    constexpr double kDateMm = 35;
    canvas.DrawText({box.x, box.y + 3.5}, tr("Conclusion"), kSectionStyle);
    const double y = box.Bottom() - 4;
    canvas.DrawLine({box.x, y}, {box.x + kDateMm, y}, {kMuted, 0.2});
    canvas.DrawText({box.x, box.Bottom() - 0.5}, tr("Date"), kMutedStyle);
    canvas.DrawLine({box.x + kDateMm + kColumnGapMm, y}, {box.Right(), y}, {kMuted, 0.2});
    canvas.DrawText({box.x + kDateMm + kColumnGapMm, box.Bottom() - 0.5}, tr("Name and signature"),
                    kMutedStyle);
}

// Returns where it ends, mm from the top of the page.
double DrawFindings(Canvas& canvas, const Findings& findings, const Box& body) {
    const auto rest = [&](double y) { return Box{body.x, y, body.width, body.Bottom() - y}; };
    double y = body.y + 2;
    y += DrawHeader(canvas, findings, rest(y)) + kPartGapMm;
    y += DrawCautions(canvas, findings, rest(y)).heightMm;
    canvas.DrawText({body.x, y + 3.5}, findings.tr("Results"), kSectionStyle);
    y += kBelowTitleMm;
    y += DrawColumns(canvas, rest(y), kResultLines, ListResults(findings)) + kPartGapMm;
    const double plotMm =
        std::min(kTallestPlotMm, body.Bottom() - y - kPlotAboveMm - kPlotBelowMm - kPartGapMm);
    if (plotMm < kLowestPlotMm) return y;  // it stands among the trends
    DrawRateTrend(canvas, findings,
                  {body.x + kPlotLeftMm, y + kPlotAboveMm, body.width - kPlotLeftMm - kPlotRightMm, plotMm});
    return y + kPlotAboveMm + plotMm + kPlotBelowMm + kPartGapMm;
}

// All but the room for the conclusion.
Box BodyOf(const Box& contents) {
    return {contents.x, contents.y - 2, contents.width, contents.height + 2 - kConclusionMm};
}

void DrawSummary(Canvas& canvas, const Findings& findings, const Box& contents) {
    const Box body = BodyOf(contents);
    double y = contents.y;
    {
        const ClipTo clip(canvas, body);
        y = DrawFindings(canvas, findings, body);
    }
    const double top = std::min(y, body.Bottom());
    DrawConclusion(canvas, findings.tr, {contents.x, top, contents.width, contents.Bottom() - top});
}

}  // namespace

void AddSummaryPage(const Findings& findings, std::vector<ReportPage>& pages) {
    pages.push_back(
        {findings.tr("Exercise ECG report"), Portrait(findings.paper),
         [&findings](Canvas& canvas, const Box& contents) { DrawSummary(canvas, findings, contents); }});
}

std::vector<std::string> ListCutCautions(const Findings& findings) {
    const ScratchCanvas scratch;
    const bool areCut = DrawCautions(*scratch, findings, BodyOf(Portrait(findings.paper).Contents())).areCut;
    return areCut ? ListCautions(findings) : std::vector<std::string>();
}

std::vector<Fact> ListCutFacts(const Findings& findings) {
    const Box body = BodyOf(Portrait(findings.paper).Contents());
    const double columnMm = ColumnMm(body.width);
    const ScratchCanvas scratch;
    const bool isPageCut = DrawFindings(*scratch, findings, body) > body.Bottom();
    std::vector<Fact> cut;
    const auto keepCut = [&](const std::vector<Fact>& facts, int lines) {
        const double labelMm = LabelMm(*scratch, columnMm, facts);
        for (const Fact& fact : facts)
            if (isPageCut ||
                MeasureParagraph(fact.value, columnMm - labelMm) >
                    (*scratch).DrawParagraph({0, 0}, columnMm - labelMm, lines, fact.value, kTextStyle))
                cut.push_back(fact);
    };
    keepCut(ListPatient(findings), kHeaderLines);
    keepCut(ListFacts(findings), kRecordLines);
    keepCut(ListResults(findings), kResultLines);
    return cut;
}
