#include <cairo-pdf.h>

#include <sstream>

#include "host/report/Outputs.h"
#include "host/report/Surface.h"
#include "host/support/Text.h"

namespace {

void SetMetadata(cairo_surface_t* surface, const Findings& findings) {
    const SourceInfo& source = findings.result.source;
    const auto set = [&](cairo_pdf_metadata_t what, const std::string& text) {
        if (!text.empty()) cairo_pdf_surface_set_metadata(surface, what, OneLine(text).c_str());
    };
    set(CAIRO_PDF_METADATA_TITLE, findings.tr("Exercise ECG report") + ": " + source.name);
    set(CAIRO_PDF_METADATA_AUTHOR, source.patient.performing);
    set(CAIRO_PDF_METADATA_SUBJECT, findings.tr("Heart rate, ST and averaged beats of an exercise test") +
                                        (source.started.empty() ? "" : ", " + source.started));
    set(CAIRO_PDF_METADATA_CREATOR, "qzstress " QZSTRESS_VERSION);
}

// Each page, and below it what it names.
void AddOutline(cairo_surface_t* surface, const ReportPage& page, std::size_t number) {
    const std::string target = "page=" + std::to_string(number);
    const auto add = [&](int parent, const std::string& text) {
        return cairo_pdf_surface_add_outline(surface, parent, OneLine(text).c_str(), target.c_str(),
                                             static_cast<cairo_pdf_outline_flags_t>(0));
    };
    const int title = add(CAIRO_PDF_OUTLINE_ROOT, page.title);
    for (const std::string& entry : page.entries) add(title, entry);
}

// Cairo has no way to tell the language of a document. Its catalogue is the last object: what is added there
// moves nothing but the table of objects, which the end of the file points to.
std::string WithLanguage(std::string pdf, const std::string& language) {
    constexpr std::string_view kCatalogue = "/Type /Catalog", kStart = "startxref\n";
    const std::size_t catalogue = pdf.rfind(kCatalogue), table = pdf.rfind("\nxref\n"),
                      start = pdf.rfind(kStart);
    if (catalogue == std::string::npos || table == std::string::npos || start == std::string::npos ||
        pdf.substr(catalogue, table - catalogue).find(" obj") != std::string::npos)
        return pdf;
    const std::string entry = "\n   /Lang (" + language + ")";
    pdf.replace(start + kStart.size(), pdf.find('\n', start + kStart.size()) - start - kStart.size(),
                std::to_string(table + 1 + entry.size()));
    return pdf.insert(catalogue + kCatalogue.size(), entry);
}

}  // namespace

void WritePdf(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings) {
    std::ostringstream drawn;
    {
        const Surface surface(
            cairo_pdf_surface_create_for_stream(AppendToStream, static_cast<std::ostream*>(&drawn), 1, 1));
        // Every reader and printer still in use understands this version.
        cairo_pdf_surface_restrict_to_version(surface.get(), CAIRO_PDF_VERSION_1_4);
        SetMetadata(surface.get(), findings);
        const Context context = MakeContext(surface, MmToPoints(1));
        for (std::size_t i = 0; i < pages.size(); ++i) {
            cairo_pdf_surface_set_size(surface.get(), MmToPoints(pages[i].size.widthMm),
                                       MmToPoints(pages[i].size.heightMm));
            AddOutline(surface.get(), pages[i], i + 1);
            Canvas canvas(context.get());
            DrawPage(canvas, pages, i, findings);
            cairo_show_page(context.get());
        }
        CheckCairo(cairo_status(context.get()));
        cairo_surface_finish(surface.get());
        CheckCairo(cairo_surface_status(surface.get()));
    }
    out << WithLanguage(std::move(drawn).str(), findings.tr.Code());
}
