#include "host/report/Pages.h"

#include <string>

#include "host/report/BeatPages.h"
#include "host/report/StageBeatPages.h"
#include "host/report/StripPages.h"
#include "host/report/SummaryPage.h"
#include "host/report/TablePages.h"
#include "host/report/TrendPages.h"

namespace {

constexpr double kHeadingY = 14.5;
constexpr double kHeadingRuleY = 17.5;
constexpr double kFootRuleY = 200.5;
constexpr double kFootY = 204.5;
constexpr const char* kDisclaimer = "For research and evaluation. Not a medical device.";

constexpr TextStyle kTitle{13, true, kInk};
constexpr TextStyle kRunningHead{8, false, kMuted, Align::Right};
constexpr TextStyle kFoot{7, false, kMuted};

}  // namespace

std::vector<ReportPage> LayOutPages(const Findings& findings) {
    std::vector<ReportPage> pages;
    AddSummaryPage(findings, pages);
    AddStagePages(findings, pages);
    const std::size_t firstDrawing = pages.size();
    AddTrendPages(findings, pages);
    AddBeatPages(findings, pages);
    AddStageBeatPages(findings, pages);
    AddStripPages(findings, pages);
    for (std::size_t i = firstDrawing; i < pages.size(); ++i) pages[i].isDrawing = true;
    AddLongTexts(findings, pages);
    AddTablePages(findings, pages);
    return pages;
}

void DrawPage(Canvas& canvas, const std::vector<ReportPage>& pages, std::size_t index,
              const Findings& findings) {
    const SourceInfo& source = findings.result.source;
    canvas.FillBox({0, 0, kPageWidthMm, kPageHeightMm}, kWhite);
    const double titleMm =
        canvas.DrawText({kContents.x, kHeadingY}, pages[index].title, kTitle, kContents.width * 0.7);
    canvas.DrawText({kContents.Right(), kHeadingY},
                    source.started.empty() ? source.name : source.name + "   " + source.started, kRunningHead,
                    kContents.width - titleMm - 6);
    canvas.DrawLine({kContents.x, kHeadingRuleY}, {kContents.Right(), kHeadingRuleY}, {kInk, 0.3});
    pages[index].draw(canvas);
    canvas.DrawLine({kContents.x, kFootRuleY}, {kContents.Right(), kFootRuleY}, {kRule, 0.2});
    canvas.DrawText({kContents.x, kFootY}, findings.tr(kDisclaimer), kFoot);
    TextStyle right = kFoot;
    right.align = Align::Right;
    canvas.DrawText({kContents.Right(), kFootY},
                    findings.tr("Page " + std::to_string(index + 1) + " of " + std::to_string(pages.size())),
                    right);
}
