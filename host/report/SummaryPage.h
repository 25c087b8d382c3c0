// SummaryPage: the first page: facts of the record, heart rate over the stages, stages and results in
// figures.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddSummaryPage(const Findings& findings, std::vector<ReportPage>& pages);
