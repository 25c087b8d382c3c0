// BeatPages: the averaged beat of each lead in the reference, at its largest ST change and the latest laid
// over each other, at the scale of a printed electrocardiogram and, for the ST segment, enlarged.
#pragma once

#include <cstddef>
#include <vector>

#include "host/report/EcgPaper.h"
#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddBeatPages(const Findings& findings, std::vector<ReportPage>& pages);

/// The usual scale, or half the gain if the beats of a lead fit into `heightMm` only so. A lead that fits at
/// neither gain is ignored here and cut when it is drawn.
PaperScale ChooseBeatScale(const StressResult& result, double heightMm);
/// Lowest and highest value of the beats of a lead, uV above their PR levels.
TraceRange FindBeatRange(const StressResult& result, std::size_t lead);
/// Paper with `range` in its middle, as nearly as keeping 0 uV on a strong grid line allows.
EcgPaper PlaceBeat(const Box& box, const PaperScale& scale, const TraceRange& range);
/// Width of the paper for the averaged beat, in whole 5 mm.
double BeatPaperMm(const StressResult& result);
