#include <cairo-svg.h>

#include <sstream>

#include "host/report/Outputs.h"
#include "host/report/Surface.h"
#include "host/support/Text.h"

namespace {

constexpr const char* kStyle = R"(
body { margin: 0; background: #e9ebed; color: #1a1c21; font: 15px/1.45 "DejaVu Sans", "Segoe UI", Helvetica, Arial, sans-serif; }
main { width: 297mm; max-width: 100%; margin: 0 auto; }
figure { margin: 6mm 0; background: #fff; box-shadow: 0 0.3mm 1.5mm rgba(0,0,0,.25); }
figure svg { display: block; width: 100%; height: auto; }
section { background: #fff; margin: 6mm 0; padding: 8mm 12mm; box-shadow: 0 0.3mm 1.5mm rgba(0,0,0,.25); }
h1 { font-size: 1.4em; margin: 0 0 .6em; overflow-wrap: anywhere; }
h2 { font-size: 1.1em; margin: 1.6em 0 .5em; }
.scroll { overflow-x: auto; }
table { border-collapse: collapse; font-variant-numeric: tabular-nums; font-size: .87em; }
th, td { text-align: right; padding: .22em .8em; border-bottom: 1px solid #d4d7da; vertical-align: bottom; }
th { border-bottom: 1.5px solid #1a1c21; }
th small { display: block; font-weight: normal; color: #5e666f; }
.text, tbody th { text-align: left; }
tbody th { font-weight: normal; border-bottom: 1px solid #d4d7da; overflow-wrap: anywhere; }
tr.worst > * { background: #eceff1; color: #a33c00; font-weight: bold; }
dl { display: grid; grid-template-columns: max-content 1fr; gap: .2em 1.2em; margin: 0; font-size: .9em; }
dt { color: #5e666f; } dd { margin: 0; overflow-wrap: anywhere; }
li, .foot { font-size: .85em; } .foot { color: #5e666f; }
@page { size: A4 landscape; margin: 0; }
@media print {
  body { background: #fff; font-size: 12px; -webkit-print-color-adjust: exact; print-color-adjust: exact; }
  main { width: 297mm; max-width: none; }
  figure { margin: 0; box-shadow: none; width: 297mm; height: 209.9mm; overflow: hidden; break-after: page; }
  figure svg { width: 297mm; height: 210mm; }
  section { margin: 0; box-shadow: none; }
  tr, li { break-inside: avoid; }
}
)";

std::string Escape(const std::string& text) {
    std::string escaped;
    for (const char c : OneLine(text)) {
        switch (c) {
            case '&': escaped += "&amp;"; break;
            case '<': escaped += "&lt;"; break;
            case '>': escaped += "&gt;"; break;
            case '"': escaped += "&quot;"; break;
            default: escaped += c;
        }
    }
    return escaped;
}

void ReplaceAll(std::string& text, const std::string& from, const std::string& to) {
    std::string replaced;
    std::size_t at = 0;
    for (std::size_t found = 0; (found = text.find(from, at)) != std::string::npos; at = found + from.size())
        replaced.append(text, at, found - at) += to;
    text = std::move(replaced.append(text, at, std::string::npos));
}

// A page as an element of a larger document: without the XML declaration and a size of its own, and with
// names that differ from those of the other pages, as names hold for the whole document.
std::string DrawSvg(const std::vector<ReportPage>& pages, std::size_t index, const Findings& findings) {
    std::ostringstream drawn;
    {
        const Surface surface(cairo_svg_surface_create_for_stream(
            AppendToStream, static_cast<std::ostream*>(&drawn), MmToPoints(pages[index].size.widthMm),
            MmToPoints(pages[index].size.heightMm)));
        const Context context = MakeContext(surface, MmToPoints(1));
        Canvas canvas(context.get());
        DrawPage(canvas, pages, index, findings);
        CheckCairo(cairo_status(context.get()));
        cairo_surface_finish(surface.get());
        CheckCairo(cairo_surface_status(surface.get()));
    }
    std::string svg = std::move(drawn).str();
    const std::size_t element = svg.find('>', svg.find("<svg"));
    svg.erase(0, element == std::string::npos ? 0 : element + 1);
    const std::string prefix = "p" + std::to_string(index + 1) + "-";
    ReplaceAll(svg, " id=\"", " id=\"" + prefix);
    ReplaceAll(svg, "href=\"#", "href=\"#" + prefix);
    ReplaceAll(svg, "url(#", "url(#" + prefix);
    const std::string size = Number(MmToPoints(pages[index].size.widthMm), 3) + " " +
                             Number(MmToPoints(pages[index].size.heightMm), 3);
    const std::string label = "Page " + std::to_string(index + 1) + " of " + std::to_string(pages.size()) +
                              ": " + pages[index].title + ". The figures follow as text below the pages.";
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" xmlns:xlink=\"http://www.w3.org/1999/xlink\" "
           "viewBox=\"0 0 " +
           size + "\" role=\"img\" aria-label=\"" + Escape(label) + "\">" + svg;
}

void WriteFacts(std::ostream& out, const char* heading, const std::vector<Fact>& facts) {
    out << "<h2>" << heading << "</h2>\n<dl>\n";
    for (const Fact& fact : facts)
        out << "<dt>" << Escape(fact.label) << "</dt><dd>" << Escape(fact.value) << "</dd>\n";
    out << "</dl>\n";
}

void WriteTable(std::ostream& out, const ReportTable& table) {
    if (table.rows.empty()) return;
    out << "<h2>" << Escape(table.title) << "</h2>\n<div class=\"scroll\"><table>\n<thead><tr>";
    for (const ReportTable::Column& column : table.columns)
        out << "<th scope=\"col\"" << (column.isText ? " class=\"text\"" : "") << ">"
            << Escape(column.heading) << "<small>" << (column.unit.empty() ? "&nbsp;" : Escape(column.unit))
            << "</small></th>";
    out << "</tr></thead>\n<tbody>\n";
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
        out << (table.emphasised == row ? "<tr class=\"worst\">" : "<tr>");
        for (std::size_t column = 0; column < table.columns.size(); ++column) {
            const std::string cell = Escape(table.rows[row][column]);
            out << (column == 0 ? "<th scope=\"row\">" + cell + "</th>" : "<td>" + cell + "</td>");
        }
        out << "</tr>\n";
    }
    out << "</tbody></table></div>\n";
}

void WriteList(std::ostream& out, const char* heading, const std::vector<std::string>& items) {
    if (items.empty()) return;
    out << "<h2>" << heading << "</h2>\n<ul>\n";
    for (const std::string& item : items) out << "<li>" << Escape(item) << "</li>\n";
    out << "</ul>\n";
}

}  // namespace

void WriteHtml(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings) {
    const std::string title = Escape("Exercise ECG report: " + findings.result.source.name);
    out << "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" << title
        << "</title>\n<style>" << kStyle << "</style>\n</head>\n<body>\n<main>\n";
    for (std::size_t i = 0; i < pages.size(); ++i)
        out << "<figure>\n" << DrawSvg(pages, i, findings) << "</figure>\n";
    out << "<section>\n<h1>" << title << "</h1>\n";
    WriteFacts(out, "Patient", ListPatient(findings));
    WriteFacts(out, "Record", ListFacts(findings));
    WriteFacts(out, "Results", ListResults(findings));
    WriteTable(out, MakeStageTable(findings));
    WriteTable(out, MakeLeadTable(findings));
    WriteTable(out, MakeCommonTable(findings));
    WriteList(out, "Warnings", ListWarnings(findings));
    WriteList(out, "How the figures were made", ListMethods(findings));
    out << "<p class=\"foot\">For research and evaluation. Not a medical "
           "device.</p>\n</section>\n</main>\n</body>\n"
           "</html>\n";
}
