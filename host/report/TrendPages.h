// TrendPages: ST level over time: one plot per lead, all on one scale of time and of millivolts.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddTrendPages(const Findings& findings, std::vector<ReportPage>& pages);
