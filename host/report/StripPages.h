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
    std::size_t leadsPerBlock = 1, groups = 1;  // of leads
    std::size_t columns = 1, rows = 1;          // of blocks on a page
    double paperMm = 0;                         // width of each of the two papers, whole 5 mm
    double pitchMm = 0;                         // height of the papers per lead
    /// Upper left corner of the block that is `index` on its page.
    Point Corner(std::size_t index) const;
    double PaperHeightMm() const { return pitchMm * static_cast<double>(leadsPerBlock); }
};
/// As many rows as there are strips for. Lanes have the usual height; where the page has room they grow, by
/// as much as it takes to spare a block a smaller gain.
StripLayout PlanStrips(const std::vector<Strip>& strips, std::size_t leads, int fs);

/// The lines that the traces of a block stand on, alike on both of its papers.
struct StripLines {
    PaperScale scale;
    std::vector<double> mm;  // below the upper edge, whole squares
};
/// The largest usual gain at which no trace meets its neighbour or the edge, else the smallest. Lines lie
/// evenly, moved only where a trace asks for more. A trace that has no say asks for nothing.
StripLines PlaceLines(const Strip& strip, std::size_t firstLead, std::size_t leads, int fs, double pitchMm);
/// False for what no heart gives, as an open lead that swings between the rails.
bool HasSay(const std::vector<float>& uV);

/// The value that half of the samples are below, uV: about the isoelectric line; 0 without samples.
double MiddleUv(const std::vector<float>& uV);

/// What a trace covers of the height of a page, mm from its top; nothing where lowest < highest.
struct Cover {
    double highest = 0, lowest = -1;
};
/// The baseline of a lead's name: the place nearest to its line, within its part of the paper, that nothing
/// covers; just above the line where there is none.
double PlaceName(const Box& part, double line, const std::vector<Cover>& covers);
