// SummaryPage: the first page: who was tested, what to know before reading, results, heart rate over the
// stages, and room for a conclusion.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddSummaryPage(const Findings& findings, std::vector<ReportPage>& pages);
/// The texts of that page in full, on a page of their own; none if they surely have room there.
void AddLongTexts(const Findings& findings, std::vector<ReportPage>& pages);
