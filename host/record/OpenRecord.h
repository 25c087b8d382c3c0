// OpenRecord: finds the reader for a recording by what its name says.
#pragma once

#include <memory>
#include <string>

#include "host/record/FrameSource.h"
#include "host/record/RecordOptions.h"

/// ".edf" and ".bdf" are EDF, EDF+ and BDF, ".csv", ".tsv" and ".txt" are CSV, and so are "-", the standard
/// input, and other pipes; all else is a WFDB header with or without ".hea". A file that lies beside a header
/// of its name, as samples and annotations do, stands for that record, and a folder with one record for that
/// one. Throws HostError where the file cannot be read, has none of the leads, or an option is for another
/// format.
std::unique_ptr<FrameSource> OpenRecord(const std::string& path, const RecordOptions& options = {});
