#include "host/report/TablePages.h"

#include <algorithm>
#include <memory>

namespace {

constexpr double kLineMm = 3.4;

// Warnings stand first; notes that have no room stand in the HTML only.
void DrawNotes(Canvas& canvas, const Findings& findings, double top) {
    double y = top;
    const auto draw = [&](const char* title, const Colour& colour, const std::vector<std::string>& notes) {
        if (notes.empty() || y + 3 * kLineMm > kContents.Bottom()) return;
        canvas.DrawText({kContents.x, y + 3}, findings.tr(title), {9, true, colour});
        y += 4.6;
        for (const std::string& note : notes) {
            if (y + kLineMm > kContents.Bottom()) return;
            y += 1 + canvas.DrawParagraph({kContents.x, y}, kContents.width, 3, note, {7, false, kInk});
        }
        y += 2;
    };
    draw("Warnings", kAccent, ListWarnings(findings));
    draw("How the figures were made", kInk, ListMethods(findings));
}

constexpr double kNotesMm = 73;
constexpr std::size_t kRowsPerPage = static_cast<std::size_t>((kContents.height - kHeadRowsMm) / kRowMm);
constexpr std::size_t kRowsWithNotes =
    static_cast<std::size_t>((kContents.height - kHeadRowsMm - kNotesMm) / kRowMm);

// A table alone, on as many pages as it needs.
void AddTable(const Language& tr, ReportTable made, const char* what, std::vector<ReportPage>& pages) {
    const auto table = std::make_shared<const ReportTable>(std::move(made));
    const std::size_t rows = table->rows.size();
    for (std::size_t first = 0; first < rows; first += kRowsPerPage) {
        const std::size_t count = std::min(rows - first, kRowsPerPage);
        pages.push_back({table->title + tr(NameSpan(what, first, count, rows)),
                         [table, first](Canvas& canvas) { DrawTable(canvas, kContents, *table, first); }});
    }
}

}  // namespace

void AddStagePages(const Findings& findings, std::vector<ReportPage>& pages) {
    AddTable(findings.tr, MakeStageTable(findings), "rows", pages);
}

void AddTablePages(const Findings& findings, std::vector<ReportPage>& pages) {
    AddTable(findings.tr, MakeCommonTable(findings), "leads", pages);
    const auto table = std::make_shared<const ReportTable>(MakeLeadTable(findings));
    const std::size_t leads = table->rows.size();
    std::size_t first = 0;
    bool areNotesDrawn = false;
    while (!areNotesDrawn) {
        const bool isLast = leads - first <= kRowsWithNotes;
        const std::size_t count = std::min(leads - first, kRowsPerPage);
        pages.push_back(
            {findings.tr(count == 0 ? "Notes" : "ST per lead" + NameSpan("leads", first, count, leads)),
             [&findings, table, first, count, isLast](Canvas& canvas) {
                 if (count > 0) DrawTable(canvas, kContents, *table, first);
                 const double tableMm = count > 0 ? kHeadRowsMm + static_cast<double>(count) * kRowMm + 4 : 0;
                 if (!isLast) return;
                 DrawNotes(canvas, findings, kContents.y + tableMm);
             }});
        first += count;
        areNotesDrawn = isLast;
    }
}
