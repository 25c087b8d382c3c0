#include "host/report/Cautions.h"
#include "host/report/Outputs.h"
#include "host/report/SvgCanvas.h"
#include "host/support/Text.h"

namespace {

// A millimetre of a drawing has at least so many pixels, so that its texts can be read; on a narrow screen
// drawings and tables are moved sideways. In print a millimetre is one.
constexpr double kLeastPixelsPerMm = 3.4, kMostPixelsPerMm = 5;
constexpr double kEdgeMm = 1.5;

constexpr const char* kStyle = R"(
:root { color-scheme: light; }
* { box-sizing: border-box; }
body { margin: 0; background: #e9ebed; color: #1a1c21; font: 16px/1.45 "DejaVu Sans", "Segoe UI", Helvetica, Arial, sans-serif; -webkit-text-size-adjust: 100%; }
main { max-width: 1240px; margin: 0 auto; padding: 1em; }
header, nav, section { background: #fff; margin: 0 0 1em; padding: 1em 1.4em; }
h1 { font-size: 1.5em; margin: 0; overflow-wrap: anywhere; }
h2 { font-size: 1.2em; margin: 0 0 .6em; }
header p { margin: .3em 0 0; color: #5e666f; overflow-wrap: anywhere; }
nav ol { columns: 20em; column-gap: 3em; margin: 0; padding-left: 1.6em; }
a { color: #005a8c; }
.scroll { overflow-x: auto; }
.scroll:focus-visible { outline: 2px solid #005a8c; }
table { border-collapse: separate; border-spacing: 0; font-variant-numeric: tabular-nums; font-size: .875em; }
th, td { text-align: right; padding: .25em .5em; border-bottom: 1px solid #d4d7da; vertical-align: bottom; white-space: nowrap; }
thead th { border-bottom: 1.5px solid #1a1c21; white-space: normal; }
th small { display: block; font-weight: normal; color: #5e666f; white-space: nowrap; }
.text, tbody th { text-align: left; }
tbody th { font-weight: normal; min-width: 3.5em; max-width: 16em; overflow-wrap: break-word; white-space: normal; position: sticky; left: 0; background: #fff; }
tr.worst > * { background: #eceff1; color: #a33c00; font-weight: bold; }
dl { columns: 24em; column-gap: 2.5em; margin: 0; }
dl div { display: grid; grid-template-columns: 11em 1fr; gap: 0 1em; break-inside: avoid; padding: .12em 0; }
dt { color: #5e666f; } dd { margin: 0; overflow-wrap: anywhere; }
ul { margin: 0; padding-left: 1.3em; } li { margin-bottom: .3em; overflow-wrap: anywhere; }
.warning { border-left: .4em solid #b84500; } .warning h2 { color: #a33c00; }
figure { margin: 0; }
svg { display: block; width: 100%; height: auto; fill: none; stroke-linejoin: round; font-family: "DejaVu Sans", sans-serif; }
text { white-space: pre; }
.foot { color: #5e666f; font-size: .875em; margin: 0; }
.print { display: none; }
@media (max-width: 40em) {
  main { padding: 0; } header, nav, section { padding: 1em .8em; }
  dl div { grid-template-columns: 1fr; padding: .25em 0; } dt { font-size: .875em; }
}
@media print {
  body { background: #fff; font-size: 10.5px; -webkit-print-color-adjust: exact; print-color-adjust: exact; }
  main { max-width: none; padding: 0; } header, section { padding: 0; margin: 0 0 5mm; }
  nav { display: none; } .scroll { overflow: visible; } .print { display: block; }
  section.wide { page: wide; } figure svg { width: var(--width); height: var(--height); min-width: 0 !important; max-width: none !important; }
  section.wide { break-inside: avoid; } section.drawing { break-before: page; margin: 0; } section.drawing + section:not(.drawing) { break-before: page; }
  figure, tr, li, dl div { break-inside: avoid; } h2 { break-after: avoid; margin: 0 0 2mm; }
  .warning { padding-left: 2mm; } tbody th { position: static; }
  .sign { display: flex; gap: 8mm; margin-top: 22mm; } .sign p { flex: 1; border-top: .3mm solid #5e666f; margin: 0; padding-top: 1mm; }
}
)";

std::string Millimetres(double mm) { return Number(mm, 1) + "mm"; }

// One section of the page, to which the table of contents leads.
struct Section {
    std::string title;
    std::string content;
    const char* kind = "";  // its class
};

std::string Facts(const std::vector<Fact>& facts) {
    std::string html = "<dl>\n";
    for (const Fact& fact : facts)
        html += "<div><dt>" + EscapeXml(fact.label) + "</dt><dd>" + EscapeXml(SetMinus(fact.value)) +
                "</dd></div>\n";
    return html + "</dl>\n";
}

std::string List(const std::vector<std::string>& items) {
    std::string html = "<ul>\n";
    for (const std::string& item : items) html += "<li>" + EscapeXml(item) + "</li>\n";
    return html + "</ul>\n";
}

// What may be wider than the screen; the keyboard moves it too.
std::string Scrolled(const std::string& title, const std::string& content) {
    return "<div class=\"scroll\" role=\"region\" tabindex=\"0\" aria-label=\"" + EscapeXml(title) + "\">" +
           content + "</div>\n";
}

std::string Table(const ReportTable& table) {
    std::string html = "<table>\n<thead><tr>";
    for (const ReportTable::Column& column : table.columns)
        html += std::string("<th scope=\"col\"") + (column.isText ? " class=\"text\"" : "") + ">" +
                EscapeXml(column.heading) + "<small>" +
                (column.unit.empty() ? "&nbsp;" : EscapeXml(column.unit)) + "</small></th>";
    html += "</tr></thead>\n<tbody>\n";
    for (std::size_t row = 0; row < table.rows.size(); ++row) {
        html += table.emphasised == row ? "<tr class=\"worst\">" : "<tr>";
        for (std::size_t column = 0; column < table.columns.size(); ++column) {
            const std::string cell = EscapeXml(SetMinus(table.rows[row][column]));
            html += column == 0                    ? "<th scope=\"row\">" + cell + "</th>"
                    : table.columns[column].isText ? "<td class=\"text\">" + cell + "</td>"
                                                   : "<td>" + cell + "</td>";
        }
        html += "</tr>\n";
    }
    return Scrolled(table.title, html + "</tbody></table>");
}

// The contents of a page, with room for what a text of their last line has below it.
Section Drawing(const ReportPage& page) {
    SvgCanvas canvas;
    Box contents = page.size.Contents();
    if (page.usedMm > 0) contents.height = std::min(contents.height, page.usedMm);
    page.draw(canvas, contents);
    const Box shown{contents.x, contents.y - kEdgeMm, contents.width, contents.height + 2 * kEdgeMm};
    const std::string svg = "<figure><svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"" +
                            SvgCanvas::ViewBox(shown) +
                            "\" style=\"min-width:" + Number(shown.width * kLeastPixelsPerMm, 0) +
                            "px;max-width:" + Number(shown.width * kMostPixelsPerMm, 0) +
                            "px;--width:" + Millimetres(shown.width) +
                            ";--height:" + Millimetres(shown.height) + "\" role=\"img\" aria-label=\"" +
                            EscapeXml(page.title) + "\">\n" + canvas.Elements() + "</svg></figure>";
    return {page.title, Scrolled(page.title, svg),
            page.size.widthMm > page.size.heightMm ? "drawing wide" : "drawing"};
}

// Printed pages: text in portrait, tables and wide drawings in landscape, with foot and number.
std::string PageRules(const Findings& findings) {
    const Language& tr = findings.tr;
    const auto size = [](const PageSize& page) {
        return "size: " + Millimetres(page.widthMm) + " " + Millimetres(page.heightMm) + ";";
    };
    return "@page { " + size(Portrait(findings.paper)) + " margin: 9mm 12mm 12mm; font: 8pt sans-serif; " +
           "@bottom-left { content: \"" + tr(kDisclaimer) + "\"; } @bottom-right { content: \"" +
           tr("Page \" counter(page) \" of \" counter(pages) \"") + "\"; } }\n@page wide { " +
           size(Landscape(findings.paper)) + " }\n";
}

std::vector<Section> ListSections(const std::vector<ReportPage>& pages, const Findings& findings) {
    const Language& tr = findings.tr;
    std::vector<Section> sections;
    const auto addTable = [&](const ReportTable& table) {
        if (!table.rows.empty()) sections.push_back({table.title, Table(table), "wide"});
    };
    const auto addList = [&](const char* title, const std::vector<std::string>& items, const char* kind) {
        if (!items.empty()) sections.push_back({tr(title), List(items), kind});
    };
    addList("What to know before reading", ListCautions(findings), "warning");
    sections.push_back({tr("Patient"), Facts(ListPatient(findings))});
    sections.push_back({tr("Record"), Facts(ListFacts(findings))});
    sections.push_back({tr("Results"), Facts(ListResults(findings))});
    addTable(MakeStageTable(findings));
    addTable(MakeLeadTable(findings));
    addTable(MakeCommonTable(findings));
    for (const ReportPage& page : pages)
        if (page.isDrawing) sections.push_back(Drawing(page));
    addList("Warnings", ListWarnings(findings), "");
    addList("How the figures were made", ListMethods(findings), "");
    return sections;
}

}  // namespace

void WriteHtml(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings) {
    const SourceInfo& source = findings.result.source;
    const Language& tr = findings.tr;
    const std::string heading = EscapeXml(tr("Exercise ECG report"));
    const std::string name = EscapeXml(source.name), foot = EscapeXml(tr(kDisclaimer));
    const std::vector<Section> sections = ListSections(pages, findings);
    out << "<!DOCTYPE html>\n<html lang=\"" << tr.Code() << "\">\n<head>\n<meta charset=\"utf-8\">\n"
        << "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>" << heading
        << ": " << name << "</title>\n<style>" << kStyle << PageRules(findings)
        << "</style>\n</head>\n<body>\n<main>\n<header>\n<h1>" << heading << "</h1>\n<p>" << name
        << (source.started.empty() ? "" : ", " + EscapeXml(source.started))
        << "</p>\n</header>\n<nav aria-label=\"" << EscapeXml(tr("Contents")) << "\">\n<h2>"
        << EscapeXml(tr("Contents")) << "</h2>\n<ol>\n";
    for (std::size_t i = 0; i < sections.size(); ++i)
        out << "<li><a href=\"#s" << i + 1 << "\">" << EscapeXml(sections[i].title) << "</a></li>\n";
    out << "</ol>\n</nav>\n";
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const std::string id = "s" + std::to_string(i + 1);
        out << "<section id=\"" << id << "\""
            << (*sections[i].kind != '\0' ? std::string(" class=\"") + sections[i].kind + "\"" : "")
            << " aria-labelledby=\"" << id << "h\">\n<h2 id=\"" << id << "h\">"
            << EscapeXml(sections[i].title) << "</h2>\n"
            << sections[i].content << "</section>\n";
    }
    out << "<section class=\"print\"><h2>" << EscapeXml(tr("Conclusion")) << "</h2>\n<div class=\"sign\"><p>"
        << EscapeXml(tr("Date")) << "</p><p>" << EscapeXml(tr("Name and signature"))
        << "</p></div></section>\n<p class=\"foot\">" << foot << "</p>\n</main>\n</body>\n</html>\n";
}
