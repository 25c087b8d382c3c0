// Outputs: the pages of a report as a file of each kind, written to a stream. The caller asks the stream
// whether everything arrived. Each throws std::runtime_error where drawing itself fails.
#pragma once

#include <ostream>

#include "host/report/Pages.h"

/// With an outline, the language and what is known of the document.
void WritePdf(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings);

/// Writes the pages below each other at 150 dots per inch, which the file states; narrower ones stand in the
/// middle. Holds one page at a time.
void WritePng(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings);

/// Writes pages as inline SVG, then every table as text. The file refers to nothing outside itself and holds
/// no script.
void WriteHtml(std::ostream& out, const std::vector<ReportPage>& pages, const Findings& findings);
