// PageParts: what the pages of a report are put together from: sizes, captions, grids of leads, tables,
// facts.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/report/Canvas.h"
#include "host/report/Findings.h"
#include "host/report/Surface.h"

struct PageSize {
    double widthMm = 0, heightMm = 0;
    /// The area between heading and foot.
    Box Contents() const;
};
PageSize Portrait(Paper paper);
PageSize Landscape(Paper paper);

/// What stands at the foot of every page.
constexpr const char* kDisclaimer = "For research and evaluation. Not a medical device.";

struct ReportPage {
    std::string title;
    PageSize size;
    std::function<void(Canvas& canvas, const Box& contents)> draw;
    /// What an outline names below the page's title, in order.
    std::vector<std::string> entries = {};
    bool isDrawing = false;  // else it is text and tables, which HTML has in its own way
    double usedMm = 0;       // height of the contents that the drawing needs; 0: all
};

// No text of a page is smaller than 8 points.
constexpr TextStyle kSectionStyle{9.5, true, kInk};
constexpr TextStyle kTextStyle{8, false, kInk};
constexpr TextStyle kMutedStyle{8, false, kMuted};

constexpr double kLineMm = 3.5;  // from line to line of such texts
constexpr double kCaptionMm = 2 * kLineMm + 1.5;
/// Draws up to two lines at the foot of the contents; they take kCaptionMm of their height.
void DrawCaption(Canvas& canvas, const Box& contents, const std::string& text);

/// Leads side by side, column by column as in a printed electrocardiogram: I, II, III stand below each other.
struct LeadGrid {
    std::size_t columns = 1, rows = 1;
    /// The place of the lead that is `index` in the grid.
    Box Cell(const Box& area, std::size_t index, double gapMm) const;
};
constexpr std::size_t kLeadsPerGrid = 12;
/// The smallest grid for 1 to kLeadsPerGrid leads, wider than high, or higher than wide.
LeadGrid ChooseWideGrid(std::size_t leads);
LeadGrid ChooseHighGrid(std::size_t leads);

/// How many of `all` each page has if none has more than `most` and they are spread evenly; 1 or more.
std::size_t SpreadEvenly(std::size_t all, std::size_t most);

/// What the title of one of several pages ends in: " (leads 13 to 24 of 30)"; empty if there is one page.
std::string NameSpan(const char* what, std::size_t first, std::size_t count, std::size_t all);

constexpr double kRowMm = 4.6;      // height of a table's row
constexpr double kHeadRowsMm = 10;  // height of the headings of a table
/// Draws headings and `rows` rows from `first` on. A column is as wide as its widest text, and what is left
/// is spread evenly; where that is too little, texts are cut.
void DrawTable(Canvas& canvas, const Box& box, const ReportTable& table, std::size_t first, std::size_t rows);
/// A canvas to measure texts on before there is a page for them.
class ScratchCanvas {
public:
    ScratchCanvas();
    Canvas& operator*() const { return *m_canvas; }

private:
    Surface m_surface;
    Context m_context;
    std::unique_ptr<Canvas> m_canvas;
};
/// Draws labels and values below each other; a value takes up to `lines` lines. Returns the height used, mm.
double DrawFacts(Canvas& canvas, const Box& box, double labelMm, int lines, const std::vector<Fact>& facts);
