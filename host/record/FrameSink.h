// FrameSink: where frames go that are kept: a simulated test, a cleaned signal.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"
#include "host/support/PendingFile.h"

/// Takes frames in order.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    /// One sample per lead. Throws HostError where it cannot be written.
    virtual void Write(const short* frame) = 0;
    /// Once, after the last frame: what is left to write. Returns the files, which live as long as this
    /// object and appear under their names when the caller commits them together. Throws HostError as Write
    /// does.
    virtual std::vector<PendingFile*> Finish() = 0;
};

/// The three formats in which a recording is written.
enum class RecordFormat { Wfdb, Edf, Csv };
/// By the end of the name, case ignored: ".edf", ".csv", and WFDB for all else. Throws HostError for ".bdf",
/// which is read but not written.
RecordFormat RecordFormatOf(const std::string& path);
/// The path without what tells the format (".edf", ".csv", ".hea"): what belongs to a recording is named
/// after it.
std::string RecordBase(const std::string& path);

/// A file for signals with these facts (name, fs, uVpb, leads, started, remarks; frames is not used). The
/// name decides the format: ".edf" is EDF+, ".csv" is CSV in microvolts, all else is WFDB format 16 (PATH.hea
/// and PATH.dat). Samples are kept to the bit by EDF and WFDB. Throws HostError where the format cannot hold
/// such signals or a file cannot be created.
std::unique_ptr<FrameSink> CreateRecord(const std::string& path, const SourceInfo& info);
