#include <cairo-pdf.h>

#include "host/report/Outputs.h"
#include "host/report/Surface.h"
#include "host/support/Text.h"

void WritePdf(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings) {
    const Surface surface(cairo_pdf_surface_create_for_stream(AppendToStream, &out, MmToPoints(kPageWidthMm),
                                                              MmToPoints(kPageHeightMm)));
    // Every reader and printer still in use understands this version.
    cairo_pdf_surface_restrict_to_version(surface.get(), CAIRO_PDF_VERSION_1_4);
    cairo_pdf_surface_set_metadata(
        surface.get(), CAIRO_PDF_METADATA_TITLE,
        OneLine(findings.tr("Exercise ECG report") + ": " + findings.result.source.name).c_str());
    const Context context = MakeContext(surface, MmToPoints(1));
    for (std::size_t i = 0; i < pages.size(); ++i) {
        Canvas canvas(context.get());
        DrawPage(canvas, pages, i, findings);
        cairo_show_page(context.get());
    }
    CheckCairo(cairo_status(context.get()));
    cairo_surface_finish(surface.get());
    CheckCairo(cairo_surface_status(surface.get()));
}
