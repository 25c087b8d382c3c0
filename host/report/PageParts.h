// PageParts: what the pages of a report are put together from: captions, grids of leads, tables, facts.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/report/Canvas.h"
#include "host/report/Findings.h"

// A4 in landscape.
constexpr double kPageWidthMm = 297;
constexpr double kPageHeightMm = 210;
/// The area between heading and foot.
constexpr Box kContents{12, 22, 273, 176};

struct ReportPage {
    std::string title;
    std::function<void(Canvas&)> draw;  // the contents
    bool isDrawing = false;             // else it is text and tables, which HTML has in its own way
};

constexpr double kCaptionMm = 5.5;
/// Draws one line at the foot of the contents; it takes kCaptionMm of their height.
void DrawCaption(Canvas& canvas, const std::string& text);

/// Leads side by side, column by column as in a printed electrocardiogram: I, II, III stand below each other.
struct LeadGrid {
    std::size_t columns = 1, rows = 1;
    /// The place of the lead that is `index` on its page, above the caption.
    Box Cell(std::size_t index, double gapMm) const;
};
constexpr std::size_t kLeadsPerGrid = 12;
/// The smallest grid for 1 to kLeadsPerGrid leads.
LeadGrid ChooseGrid(std::size_t leads);

/// What the title of one of several pages ends in: " (leads 13 to 24 of 30)"; empty if there is one page.
std::string NameSpan(const char* what, std::size_t first, std::size_t count, std::size_t all);

constexpr double kRowMm = 4.3;     // height of a table's row
constexpr double kHeadRowsMm = 9;  // height of the headings of a table
/// Draws headings and the rows from `first` on as far as `box` has room. Returns the row after the last
/// drawn.
std::size_t DrawTable(Canvas& canvas, const Box& box, const ReportTable& table, std::size_t first = 0);
/// Draws labels and values below each other; a value takes up to `lines` lines. Returns the height used, mm.
double DrawFacts(Canvas& canvas, const Box& box, double labelMm, int lines, const std::vector<Fact>& facts);
