// Pages: what stands on which page of a report, in order, and the frame about each.
#pragma once

#include <cstddef>
#include <vector>

#include "host/report/Canvas.h"
#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// In order. The findings must outlive the pages.
std::vector<ReportPage> LayOutPages(const Findings& findings);
/// White paper, heading, contents and foot.
void DrawPage(Canvas& canvas, const std::vector<ReportPage>& pages, std::size_t index,
              const Findings& findings);
