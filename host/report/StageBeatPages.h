// StageBeatPages: the averaged beats of all leads stage by stage at the scale of a printed electrocardiogram:
// a row per lead; columns for the reference, the end of each stage of work and 1, 3 and 5 minutes of
// recovery.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`, none without such beats. The findings must outlive them.
void AddStageBeatPages(const Findings& findings, std::vector<ReportPage>& pages);
