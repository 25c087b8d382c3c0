// TablePages: the figures of a test in tables, one below the other; and how they were made, in words.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds the tables of stages and of ST; no page without rows. The findings must outlive the pages.
void AddTablePages(const Findings& findings, std::vector<ReportPage>& pages);
/// Texts that have no room on the first page, what to know, all warnings and how the figures were made, on as
/// many pages as they need.
void AddNotePages(const Findings& findings, std::vector<ReportPage>& pages);
