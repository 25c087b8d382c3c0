#include "host/report/PageParts.h"

#include <algorithm>
#include <array>
#include <numeric>

namespace {

constexpr double kSideMm = 12, kTopMm = 22, kBottomMm = 12;  // around the contents

constexpr double kCellPadMm = 1.2;
constexpr TextStyle kHeadStyle{8, true, kInk};

// A text stands away from the figures that end on its left.
double IndentMm(const ReportTable& table, std::size_t column) {
    return column > 0 && table.columns[column].isText ? 3 : 0;
}

// The widest text of each column with its margins.
std::vector<double> MeasureColumns(Canvas& canvas, const ReportTable& table, std::size_t first,
                                   std::size_t rows) {
    std::vector<double> widths;
    for (std::size_t column = 0; column < table.columns.size(); ++column) {
        double width = std::max(canvas.MeasureText(table.columns[column].heading, kHeadStyle),
                                canvas.MeasureText(table.columns[column].unit, kMutedStyle));
        for (std::size_t row = first; row < first + rows; ++row)
            width = std::max(width, canvas.MeasureText(table.rows[row][column],
                                                       table.emphasised == row ? kHeadStyle : kTextStyle));
        widths.push_back(width + 2 * kCellPadMm + IndentMm(table, column));
    }
    return widths;
}

// Left edges of the columns of a table and its right edge. Where there is not enough room, the widest columns
// give way first.
std::vector<double> PlaceColumns(const Box& box, std::vector<double> widths) {
    constexpr double kMostSpareMm = 9;  // wider gaps lose the eye on its way along a row
    const auto count = static_cast<double>(widths.size());
    double all = std::accumulate(widths.begin(), widths.end(), 0.0);
    while (all > box.width) {
        double& widest = *std::max_element(widths.begin(), widths.end());
        const double less = std::min(all - box.width, widest / 8);
        widest -= less;
        all -= less;
    }
    const double spare = std::min(kMostSpareMm, (box.width - all) / count);
    std::vector<double> edges{box.x};
    for (const double width : widths) edges.push_back(edges.back() + width + spare);
    return edges;
}

LeadGrid ChooseGrid(const std::array<LeadGrid, 6>& grids, std::size_t leads) {
    return *std::find_if(grids.begin(), grids.end() - 1,
                         [&](const LeadGrid& grid) { return grid.columns * grid.rows >= leads; });
}

}  // namespace

Box PageSize::Contents() const {
    return {kSideMm, kTopMm, widthMm - 2 * kSideMm, heightMm - kTopMm - kBottomMm};
}

PageSize Portrait(Paper paper) {
    return paper == Paper::Letter ? PageSize{8.5 * kMmPerInch, 11 * kMmPerInch} : PageSize{210, 297};
}

PageSize Landscape(Paper paper) {
    const PageSize portrait = Portrait(paper);
    return {portrait.heightMm, portrait.widthMm};
}

LeadGrid ChooseWideGrid(std::size_t leads) {
    return ChooseGrid({{{1, 1}, {2, 1}, {2, 2}, {3, 2}, {3, 3}, {4, 3}}}, leads);
}

LeadGrid ChooseHighGrid(std::size_t leads) {
    return ChooseGrid({{{1, 1}, {1, 2}, {2, 2}, {2, 3}, {3, 3}, {3, 4}}}, leads);
}

Box LeadGrid::Cell(const Box& area, std::size_t index, double gapMm) const {
    const std::size_t column = index / rows, row = index % rows;
    const double width =
        (area.width - gapMm * static_cast<double>(columns - 1)) / static_cast<double>(columns);
    const double height = (area.height - gapMm * static_cast<double>(rows - 1)) / static_cast<double>(rows);
    return {area.x + static_cast<double>(column) * (width + gapMm),
            area.y + static_cast<double>(row) * (height + gapMm), width, height};
}

void DrawCaption(Canvas& canvas, const Box& contents, const std::string& text) {
    canvas.DrawParagraph({contents.x, contents.Bottom() - 2 * kLineMm}, contents.width, 2, text, kMutedStyle);
}

std::size_t SpreadEvenly(std::size_t all, std::size_t most) {
    const std::size_t pages = std::max<std::size_t>(1, (all + most - 1) / most);
    return std::max<std::size_t>(1, (all + pages - 1) / pages);
}

std::string NameSpan(const char* what, std::size_t first, std::size_t count, std::size_t all) {
    if (count >= all) return "";
    return std::string(" (") + what + " " + std::to_string(first + 1) +
           (count > 1 ? " to " + std::to_string(first + count) : "") + " of " + std::to_string(all) + ")";
}

void DrawTable(Canvas& canvas, const Box& box, const ReportTable& table, std::size_t first,
               std::size_t rows) {
    const std::vector<double> edges = PlaceColumns(box, MeasureColumns(canvas, table, first, rows));
    const auto drawCell = [&](std::size_t column, double baseline, const std::string& text, TextStyle style) {
        const bool isText = table.columns[column].isText;
        style.align = isText ? Align::Left : Align::Right;
        const double left = edges[column] + kCellPadMm + IndentMm(table, column),
                     right = edges[column + 1] - kCellPadMm;
        canvas.DrawText({isText ? left : right, baseline}, text, style, right - left);
    };
    for (std::size_t column = 0; column < table.columns.size(); ++column) {
        drawCell(column, box.y + 3.6, table.columns[column].heading, kHeadStyle);
        drawCell(column, box.y + 7.6, table.columns[column].unit, kMutedStyle);
    }
    double y = box.y + kHeadRowsMm;
    canvas.DrawLine({box.x, y - 0.6}, {edges.back(), y - 0.6}, {kInk, 0.2});
    for (std::size_t row = first; row < first + rows; ++row, y += kRowMm) {
        const bool standsOut = table.emphasised == row;
        if (standsOut) canvas.FillBox({box.x, y - 0.4, edges.back() - box.x, kRowMm}, kDeepShade);
        for (std::size_t column = 0; column < table.columns.size(); ++column)
            drawCell(column, y + 3.1, table.rows[row][column], {8, standsOut, standsOut ? kAccent : kInk});
        canvas.DrawLine({box.x, y + kRowMm - 0.4}, {edges.back(), y + kRowMm - 0.4}, {kRule, 0.12});
    }
}

ScratchCanvas::ScratchCanvas()
    : m_surface(cairo_recording_surface_create(CAIRO_CONTENT_COLOR, nullptr)),
      m_context(MakeContext(m_surface, 1)),
      m_canvas(std::make_unique<Canvas>(m_context.get())) {}

double DrawFacts(Canvas& canvas, const Box& box, double labelMm, int lines, const std::vector<Fact>& facts) {
    constexpr double kGap = 0.9;
    double y = box.y;
    for (const Fact& fact : facts) {
        const double label = canvas.DrawParagraph({box.x, y}, labelMm - 1.5, 1, fact.label, kMutedStyle);
        const double value =
            canvas.DrawParagraph({box.x + labelMm, y}, box.width - labelMm, lines, fact.value, kTextStyle);
        y += kGap + std::max(label, value);
    }
    return y - box.y;
}
