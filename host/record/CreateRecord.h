// CreateRecord: finds the writer for a recording by what its name says.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/record/FrameSink.h"
#include "host/record/FrameSource.h"

/// The three formats in which a recording is written.
enum class RecordFormat { Wfdb, Edf, Csv };
/// By the end of the name, case ignored: ".edf", ".csv", and WFDB for all else. Throws HostError for ".bdf",
/// which is read but not written.
RecordFormat RecordFormatOf(const std::string& path);
/// The path without its ".edf", ".csv" or ".hea": files that belong to a recording are named after it.
std::string RecordBase(const std::string& path);
/// The files of a recording of this name.
std::vector<std::string> RecordFiles(const std::string& path);

/// A file for signals with these facts (name, fs, uVpb, leads, started, remarks; frames is not used). The
/// name decides the format: ".edf" is EDF+, ".csv" is CSV in microvolts, all else is WFDB format 16 (PATH.hea
/// and PATH.dat). Samples are kept to the bit by EDF and WFDB. Throws HostError where the format cannot hold
/// such signals or a file cannot be created.
std::unique_ptr<FrameSink> CreateRecord(const std::string& path, const SourceInfo& info);
