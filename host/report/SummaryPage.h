// SummaryPage: the first page: who was tested, what to know before reading, results, heart rate over the
// stages, and room for a conclusion.
#pragma once

#include <string>
#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddSummaryPage(const Findings& findings, std::vector<ReportPage>& pages);
/// The facts whose texts have no room there.
std::vector<Fact> ListCutFacts(const Findings& findings);
/// All cautions if some have no room there; else none.
std::vector<std::string> ListCutCautions(const Findings& findings);
