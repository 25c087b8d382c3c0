#include "host/report/Pages.h"

#include <string>

#include "host/report/BeatPages.h"
#include "host/report/StageBeatPages.h"
#include "host/report/StripPages.h"
#include "host/report/SummaryPage.h"
#include "host/report/TablePages.h"
#include "host/report/TrendPages.h"

namespace {

// From the top of the page, and from its foot.
constexpr double kHeadingMm = 14.5, kHeadingRuleMm = 17.5;
constexpr double kFootRuleMm = 9.5, kFootMm = 5.5;

constexpr TextStyle kTitle{13, true, kInk};
constexpr double kSmallestTitle = 9, kTitlePart = 0.8;  // points; of the width
constexpr TextStyle kRunningHead{8, false, kMuted, Align::Right};

}  // namespace

std::vector<ReportPage> LayOutPages(const Findings& findings) {
    std::vector<ReportPage> pages;
    AddSummaryPage(findings, pages);
    AddTablePages(findings, pages);
    const std::size_t firstDrawing = pages.size();
    AddTrendPages(findings, pages);
    AddStageBeatPages(findings, pages);
    AddBeatPages(findings, pages);
    AddStripPages(findings, pages);
    for (std::size_t i = firstDrawing; i < pages.size(); ++i) pages[i].isDrawing = true;
    AddNotePages(findings, pages);
    return pages;
}

void DrawPage(Canvas& canvas, const std::vector<ReportPage>& pages, std::size_t index,
              const Findings& findings) {
    const SourceInfo& source = findings.result.source;
    const PageSize& size = pages[index].size;
    const Box contents = size.Contents();
    canvas.FillBox({0, 0, size.widthMm, size.heightMm}, kWhite);
    // A long title is smaller rather than cut.
    const double room = contents.width * kTitlePart;
    TextStyle style = kTitle;
    while (style.points > kSmallestTitle && canvas.MeasureText(pages[index].title, style) > room)
        --style.points;
    const double titleMm = canvas.DrawText({contents.x, kHeadingMm}, pages[index].title, style, room);
    canvas.DrawText({contents.Right(), kHeadingMm},
                    source.started.empty() ? source.name : source.name + "   " + source.started, kRunningHead,
                    contents.width - titleMm - 6);
    canvas.DrawLine({contents.x, kHeadingRuleMm}, {contents.Right(), kHeadingRuleMm}, {kInk, 0.3});
    pages[index].draw(canvas, contents);
    const double foot = size.heightMm - kFootMm, rule = size.heightMm - kFootRuleMm;
    canvas.DrawLine({contents.x, rule}, {contents.Right(), rule}, {kRule, 0.2});
    canvas.DrawText({contents.x, foot}, findings.tr(kDisclaimer), kMutedStyle);
    TextStyle right = kMutedStyle;
    right.align = Align::Right;
    canvas.DrawText({contents.Right(), foot},
                    findings.tr("Page " + std::to_string(index + 1) + " of " + std::to_string(pages.size())),
                    right);
}
