// BeatPages: the averaged beat of each lead in the reference and, over it, at its largest ST change, enlarged
// so far that none is cut.
#pragma once

#include <vector>

#include "host/report/EcgPaper.h"
#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`, none without ST. The findings must outlive them.
void AddBeatPages(const Findings& findings, std::vector<ReportPage>& pages);

/// Draws the beats of `count` leads from `first` on, with a caption at the foot; only where there is ST.
void DrawEnlargedBeats(Canvas& canvas, const Findings& findings, const Box& contents, std::size_t first,
                       std::size_t count);

/// Lowest and highest value of the beats of a lead, uV above their PR levels.
TraceRange FindBeatRange(const StressResult& result, std::size_t lead);

/// A paper of kBeatSquares squares in height, on which a range stands in the middle.
constexpr int kBeatSquares = 10;
struct SquareScale {
    double uVPerSquare = 100;
    int squaresAbove = kBeatSquares / 2;  // the PR level
};
/// 0.1, 0.2, 0.3, 0.5, 1 or 2 mV per square, the least that has room for the range.
SquareScale ChooseSquares(const TraceRange& range);
