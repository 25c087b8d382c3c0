// OpenRecord: finds the reader for a recording by what its name says.
#pragma once

#include <memory>
#include <string>

#include "host/record/FrameSource.h"
#include "host/record/RecordOptions.h"

/// ".edf" and ".bdf" are EDF, EDF+ and BDF, ".csv" is CSV, all else is a WFDB header with or without ".hea".
/// Throws HostError where the file cannot be read or has none of the leads.
std::unique_ptr<FrameSource> OpenRecord(const std::string& path,
                                                      const RecordOptions& options = {});
