// TrendPages: the course of a test on one page: heart rate, ST level, J level and ST slope of every lead,
// blood pressure and METs, all leads on one scale.
#pragma once

#include <vector>

#include "host/report/Findings.h"
#include "host/report/PageParts.h"
#include "host/report/TrendPlot.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddTrendPages(const Findings& findings, std::vector<ReportPage>& pages);

/// Draws the heart rate over the stages with its peak. `box` is the area within the axes; 12 mm above it are
/// of title and stages, 9 mm on its left and 6 mm below of figures.
void DrawRateTrend(Canvas& canvas, const Findings& findings, const Box& box);
/// The axis of heart rates, wide enough for the peak; single wrong readings do not widen it.
ValueAxis ChooseRateAxis(const StressResult& result, double peakBpm);
