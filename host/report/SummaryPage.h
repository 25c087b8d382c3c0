// SummaryPage: the first page: facts of the record, heart rate over the stages, stages and results in
// figures.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"
#include "host/report/TrendPlot.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddSummaryPage(const Findings& findings, std::vector<ReportPage>& pages);
/// The texts of that page in full, on a page of their own; none if they surely have room there.
void AddLongTexts(const Findings& findings, std::vector<ReportPage>& pages);
/// The axis of heart rates, wide enough for the peak; single wrong readings do not widen it.
ValueAxis ChooseRateAxis(const StressResult& result, double peakBpm);
