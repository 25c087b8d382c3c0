#include "host/report/PageParts.h"

#include <algorithm>
#include <array>

namespace {

constexpr double kCellPoints = 7.5;
constexpr double kUnitPoints = 6.5;

// Left edges of the columns of a table and its right edge.
std::vector<double> PlaceColumns(const Box& box, const std::vector<ReportTable::Column>& columns) {
    double parts = 0;
    for (const ReportTable::Column& column : columns) parts += column.width;
    std::vector<double> edges{box.x};
    for (const ReportTable::Column& column : columns)
        edges.push_back(edges.back() + column.width / parts * box.width);
    return edges;
}

}  // namespace

LeadGrid ChooseGrid(std::size_t leads) {
    constexpr std::array<LeadGrid, 6> kGrids{{{1, 1}, {1, 2}, {2, 2}, {2, 3}, {3, 3}, {4, 3}}};
    return *std::find_if(kGrids.begin(), kGrids.end() - 1,
                         [&](const LeadGrid& grid) { return grid.columns * grid.rows >= leads; });
}

Box LeadGrid::Cell(std::size_t index, double gapMm) const {
    const std::size_t column = index / rows, row = index % rows;
    const double width =
        (kContents.width - gapMm * static_cast<double>(columns - 1)) / static_cast<double>(columns);
    const double height =
        (kContents.height - kCaptionMm - gapMm * static_cast<double>(rows - 1)) / static_cast<double>(rows);
    return {kContents.x + static_cast<double>(column) * (width + gapMm),
            kContents.y + static_cast<double>(row) * (height + gapMm), width, height};
}

void DrawCaption(Canvas& canvas, const std::string& text) {
    canvas.DrawText({kContents.x, kContents.Bottom()}, text, {7, false, kMuted}, kContents.width);
}

std::string NameSpan(const char* what, std::size_t first, std::size_t count, std::size_t all) {
    if (count >= all) return "";
    return std::string(" (") + what + " " + std::to_string(first + 1) +
           (count > 1 ? " to " + std::to_string(first + count) : "") + " of " + std::to_string(all) + ")";
}

std::size_t DrawTable(Canvas& canvas, const Box& box, const ReportTable& table, std::size_t first) {
    constexpr double kPad = 1.2;
    const std::vector<double> edges = PlaceColumns(box, table.columns);
    const auto drawCell = [&](std::size_t column, double baseline, const std::string& text, TextStyle style) {
        style.align = table.columns[column].isText ? Align::Left : Align::Right;
        const double x = table.columns[column].isText ? edges[column] + kPad : edges[column + 1] - kPad;
        canvas.DrawText({x, baseline}, text, style, edges[column + 1] - edges[column] - 2 * kPad);
    };
    for (std::size_t column = 0; column < table.columns.size(); ++column) {
        drawCell(column, box.y + 3.4, table.columns[column].heading, {kCellPoints, true, kInk});
        drawCell(column, box.y + 7, table.columns[column].unit, {kUnitPoints, false, kMuted});
    }
    double y = box.y + kHeadRowsMm;
    canvas.DrawLine({box.x, y - 0.6}, {box.Right(), y - 0.6}, {kInk, 0.2});
    std::size_t row = first;
    for (; row < table.rows.size() && y + kRowMm <= box.Bottom() + 1e-6; ++row, y += kRowMm) {
        const bool standsOut = table.emphasised == row;
        if (standsOut) canvas.FillBox({box.x, y - 0.4, box.width, kRowMm}, kDeepShade);
        for (std::size_t column = 0; column < table.columns.size(); ++column)
            drawCell(column, y + 2.9, table.rows[row][column],
                     {kCellPoints, standsOut, standsOut ? kAccent : kInk});
        canvas.DrawLine({box.x, y + kRowMm - 0.4}, {box.Right(), y + kRowMm - 0.4}, {kRule, 0.12});
    }
    return row;
}

double DrawFacts(Canvas& canvas, const Box& box, double labelMm, int lines, const std::vector<Fact>& facts) {
    constexpr double kGap = 1.1;
    double y = box.y;
    for (const Fact& fact : facts) {
        canvas.DrawParagraph({box.x, y}, labelMm - 1.5, 1, fact.label, {7.5, false, kMuted});
        y += kGap + canvas.DrawParagraph({box.x + labelMm, y}, box.width - labelMm, lines, fact.value,
                                         {7.5, false, kInk});
    }
    return y - box.y;
}
