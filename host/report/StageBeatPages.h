// StageBeatPages: the averaged beats of all leads stage by stage at the scale of a printed electrocardiogram:
// a row per lead; columns for the reference, the end of each stage of work, the peak, and 1, 3 and 5 minutes
// of recovery.
#pragma once

#include <vector>

#include "host/report/EcgPaper.h"
#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`, none without beats of stages. The findings must outlive them. Of one or two
/// leads, which leave most of a page empty, the beats of BeatPages stand below.
void AddStageBeatPages(const Findings& findings, std::vector<ReportPage>& pages);

/// True if these pages show the beats of BeatPages.
bool AreBeatsBelowStages(const Findings& findings);

/// Paper with `range` in its middle, as nearly as keeping 0 uV on a strong grid line allows.
EcgPaper PlaceBeat(const Box& box, const PaperScale& scale, const TraceRange& range);
/// Width of the paper for the averaged beat, in whole 5 mm.
double BeatPaperMm(const StressResult& result);
