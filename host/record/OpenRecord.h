// OpenRecord: finds the reader for a recording by what its name says.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"

struct RecordOptions {
    std::vector<std::string> leads;  // names to keep, in this order, case ignored; empty keeps all
    double fs = 0;                   // samples per second, for CSV, which does not tell; 0 where not given
    double uVpb = 0;                 // microvolts per unit of CSV columns without a unit; 0 where not given
};

/// ".edf" and ".bdf" are EDF, EDF+ and BDF, ".csv" is CSV, all else is a WFDB header with or without ".hea".
/// Throws HostError where the file cannot be read or has none of the leads.
std::unique_ptr<FrameSource> OpenRecord(const std::string& path, const RecordOptions& options = {});
