// BeatPages: the first averaged beat of each lead, that at its largest ST change and the latest laid over
// each other, at the scale of a printed electrocardiogram and, for the ST segment, enlarged.
#pragma once

#include <cstddef>
#include <vector>

#include "host/report/EcgPaper.h"
#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddBeatPages(const Findings& findings, std::vector<ReportPage>& pages);

/// The usual scale, or half the gain where a lead's beats do not fit into `heightMm` otherwise. A lead that
/// fits neither way has no say: it is cut.
PaperScale ChooseBeatScale(const StressResult& result, double heightMm);
/// Lowest and highest of both beats of a lead, uV above their PR levels.
TraceRange FindBeatRange(const StressResult& result, std::size_t lead);
/// Paper on which such a range stands in the middle, as far as 0 uV on a strong line of the grid allows.
EcgPaper PlaceBeat(const Box& box, const PaperScale& scale, const TraceRange& range);
/// Width of paper for the averaged beat, whole 5 mm.
double BeatPaperMm(const StressResult& result);
