// StripPages: strips of ten seconds on ECG paper, with calibration pulses and the class of each beat.
//
// Seven leads and more stand as on a printed electrocardiogram: in columns, each for a part of the time, over
// one lead in full, as 3 by 4 of twelve; strips of ventricular beats and those that were asked for show all
// of the time of every lead instead. Fewer leads do so always.
#pragma once

#include <cstddef>
#include <vector>

#include "host/report/EcgPaper.h"
#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddStripPages(const Findings& findings, std::vector<ReportPage>& pages);

/// A part of the time of a strip of a lead, seconds from the start of the strip.
struct StripSegment {
    std::size_t lead = 0;
    double fromSeconds = 0, toSeconds = 0;
};
/// What stands side by side on one line of the paper, in order of time.
using StripLane = std::vector<StripSegment>;
/// The lanes of a strip, paper by paper: more leads than fit on one are spread evenly.
std::vector<std::vector<StripLane>> PlanLanes(const std::vector<std::string>& leads, bool inColumns);

/// The lines that the traces stand on.
struct StripLines {
    PaperScale scale;
    std::vector<double> mm;  // distance of each line from the upper edge, whole squares
};
/// The largest usual gain at which no trace reaches its neighbour's line or the edge, else the smallest.
/// Lines lie evenly, moved only where a trace or a calibration pulse asks for more; they lie so far apart
/// that no trace meets another where there is room for that. An implausible trace asks for nothing.
StripLines PlaceLines(const Strip& strip, const std::vector<StripLane>& lanes, int fs, double paperMm);
/// False above 9 mV peak to peak: an open lead that swings between the rails, ignored by the layout.
bool IsPlausible(const std::vector<float>& uV);

/// Median of the samples, uV: about the isoelectric line; 0 without samples.
double MiddleUv(const std::vector<float>& uV);

/// The stretch of the page's height that a trace covers, mm from its top; empty if lowest < highest.
struct Cover {
    double highest = 0, lowest = -1;
};
/// Where the name of a lead stands: the free place nearest to the lead's line within its part of the paper;
/// just above the line if none is free.
double PlaceName(const Box& part, double line, const std::vector<Cover>& covers);
