// StripPages: stretches of signal on ECG paper, as recorded beside as conditioned.
#pragma once

#include <cstddef>
#include <vector>

#include "host/report/EcgPaper.h"
#include "host/report/Findings.h"
#include "host/report/PageParts.h"

/// Adds its pages to `pages`. The findings must outlive them.
void AddStripPages(const Findings& findings, std::vector<ReportPage>& pages);

/// How strips are spread over pages. A block is one strip of one group of leads: a paper with the signal as
/// recorded and one with the signal as conditioned.
struct StripLayout {
    std::size_t leadsPerBlock = 1, groups = 1;  // groups of leads
    std::size_t columns = 1, rows = 1;          // blocks on a page
    double paperMm = 0;                         // width of each of the two papers, whole 5 mm
    double pitchMm = 0;                         // height of the papers per lead
    /// Upper left corner of the block that is `index` on its page.
    Point Corner(std::size_t index) const;
    double PaperHeightMm() const { return pitchMm * static_cast<double>(leadsPerBlock); }
};
/// Lays strips out in as many rows as they need. Lanes have the usual height; they grow, if the page has
/// room, until no block needs a smaller gain than in the tallest lane.
StripLayout PlanStrips(const std::vector<Strip>& strips, std::size_t leads, int fs);

/// The lines that the traces of a block stand on, alike on both of its papers.
struct StripLines {
    PaperScale scale;
    std::vector<double> mm;  // distance of each line from the upper edge, whole squares
};
/// The largest usual gain at which no trace meets its neighbour or the edge, else the smallest. Lines lie
/// evenly, moved only where a trace asks for more. An implausible trace asks for nothing.
StripLines PlaceLines(const Strip& strip, std::size_t firstLead, std::size_t leads, int fs, double pitchMm);
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
