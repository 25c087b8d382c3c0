// StripPages: stretches of signal on ECG paper, as recorded beside as conditioned.
#pragma once

#include <cstddef>

#include "host/report/EcgPaper.h"
#include "host/report/Findings.h"

/// How strips are spread over pages. A block is one strip of one group of leads: a paper with the signal as
/// recorded and one with the signal as conditioned.
struct StripLayout {
    std::size_t leadsPerBlock = 1, groups = 1;  // of leads
    std::size_t columns = 1, rows = 1;          // of blocks on a page
    double paperMm = 0;                         // width of each of the two papers, whole 5 mm
    double pitchMm = 0;                         // from lead to lead
    /// Upper left corner of the block that is `index` on its page.
    Point Corner(std::size_t index) const;
    double PaperHeightMm() const;
};
StripLayout PlanStrips(std::size_t leads, double seconds);

/// The usual scale, or half the gain where neighbouring traces would run into each other. What fits neither
/// way has no say.
PaperScale ChooseStripScale(const Strip& strip, std::size_t firstLead, std::size_t leads, double pitchMm);
/// The value that half of the samples are below, uV: about the isoelectric line; 0 without samples.
double MiddleUv(const std::vector<float>& uV);
