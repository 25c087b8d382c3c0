// TablePages: the last pages: ST of every lead in figures, and how the figures were made.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddTablePages(const Findings& findings, std::vector<ReportPage>& pages);
/// The course of the test, stage by stage; no page without stages.
void AddStagePages(const Findings& findings, std::vector<ReportPage>& pages);
