#include "host/report/TablePages.h"

#include <algorithm>
#include <memory>

#include "host/report/SummaryPage.h"

namespace {

constexpr double kTableTitleMm = 6.5;  // above a table
constexpr double kTableGapMm = 5;      // between tables
constexpr std::size_t kFewestRows = 4;

// A part of a table and its place on the page.
struct Piece {
    std::shared_ptr<const ReportTable> table;
    std::size_t first = 0, rows = 0;
    double top = 0;  // of its title, mm below that of the contents

    std::string Title(const Language& tr) const {
        return table->title + tr(NameSpan("rows", first, rows, table->rows.size()));
    }
};

// Tables one below the other; one that does not fit whole begins on a new page if it fits there.
std::vector<std::vector<Piece>> FlowTables(const std::vector<ReportTable>& tables, double heightMm) {
    std::vector<std::vector<Piece>> pages;
    const auto rowsIn = [](double mm) {
        return static_cast<std::size_t>(std::max(0.0, mm - kTableTitleMm - kHeadRowsMm) / kRowMm);
    };
    double y = heightMm;
    for (const ReportTable& made : tables) {
        const auto table = std::make_shared<const ReportTable>(made);
        const std::size_t all = table->rows.size();
        for (std::size_t first = 0; first < all;) {
            const std::size_t left = all - first, room = rowsIn(heightMm - y);
            const bool isBetterWhole = room < left && left <= rowsIn(heightMm);
            if (room < std::min(left, kFewestRows) || isBetterWhole) {
                pages.emplace_back();
                y = 0;
            }
            const std::size_t rows = std::min(left, rowsIn(heightMm - y));
            pages.back().push_back({table, first, rows, y});
            y += kTableTitleMm + kHeadRowsMm + static_cast<double>(rows) * kRowMm + kTableGapMm;
            first += rows;
        }
    }
    return pages;
}

void DrawPieces(Canvas& canvas, const Language& tr, const Box& contents, const std::vector<Piece>& pieces) {
    for (const Piece& piece : pieces) {
        const double y = contents.y + piece.top;
        canvas.DrawText({contents.x, y + 3.5}, piece.Title(tr), kSectionStyle, contents.width);
        DrawTable(canvas, {contents.x, y + kTableTitleMm, contents.width, 0}, *piece.table, piece.first,
                  piece.rows);
    }
}

// A paragraph of notes or, with a style of its own, the heading above some.
struct Paragraph {
    std::string text;
    TextStyle style = kTextStyle;
    double top = 0;  // mm below the top of the contents
};
constexpr int kNoteLines = 12;

// Spreads notes over pages by their heights.
std::vector<std::vector<Paragraph>> FlowParagraphs(std::vector<Paragraph> notes, const Box& contents) {
    const ScratchCanvas scratch;
    std::vector<std::vector<Paragraph>> pages(1);
    double y = 0;
    for (Paragraph& note : notes) {
        const bool isHeading = note.style.bold;
        const double height =
            (*scratch).DrawParagraph({0, 0}, contents.width, kNoteLines, note.text, note.style);
        const double needed = height + (isHeading ? 3 * kLineMm : 0);
        if (y > 0 && isHeading) y += kLineMm;
        if (y + needed > contents.height && y > 0) {
            pages.emplace_back();
            y = 0;
        }
        note.top = y;
        y += height + 1.2;
        pages.back().push_back(std::move(note));
    }
    return pages;
}

}  // namespace

void AddTablePages(const Findings& findings, std::vector<ReportPage>& pages) {
    const PageSize size = Landscape(findings.paper);
    for (const std::vector<Piece>& pieces :
         FlowTables({MakeStageTable(findings), MakeCommonTable(findings), MakeLeadTable(findings)},
                    size.Contents().height)) {
        std::vector<std::string> titles;
        for (const Piece& piece : pieces) titles.push_back(piece.Title(findings.tr));
        pages.push_back({findings.tr("Figures of the test"), size,
                         [&findings, pieces](Canvas& canvas, const Box& contents) {
                             DrawPieces(canvas, findings.tr, contents, pieces);
                         },
                         std::move(titles)});
    }
}

void AddNotePages(const Findings& findings, std::vector<ReportPage>& pages) {
    const PageSize size = Portrait(findings.paper);
    std::vector<Paragraph> notes;
    const auto add = [&](const char* title, const std::vector<std::string>& texts) {
        if (texts.empty()) return;
        notes.push_back({findings.tr(title), kSectionStyle});
        for (const std::string& text : texts) notes.push_back({text});
    };
    std::vector<std::string> cut;
    for (const Fact& fact : ListCutFacts(findings)) cut.push_back(fact.label + ": " + fact.value);
    add("Texts of page 1 in full", cut);
    add("What to know before reading", ListCutCautions(findings));
    add("Warnings", ListWarnings(findings));
    add("How the figures were made", ListMethods(findings));
    for (const std::vector<Paragraph>& shown : FlowParagraphs(std::move(notes), size.Contents()))
        pages.push_back({findings.tr("Notes"), size, [shown](Canvas& canvas, const Box& contents) {
                             for (const Paragraph& note : shown)
                                 canvas.DrawParagraph({contents.x, contents.y + note.top}, contents.width,
                                                      kNoteLines, note.text, note.style);
                         }});
}
