// FrameSink: where frames go that are kept: a simulated test, a cleaned signal.
#pragma once

#include <memory>
#include <string>

#include "host/FrameSource.h"

/// Takes frames in order; the files appear under their names with Finish, and not without it.
class FrameSink {
public:
    virtual ~FrameSink() = default;
    /// One sample per lead. Throws HostError where it cannot be written.
    virtual void Write(const short* frame) = 0;
    virtual void Finish() = 0;
};

/// A file for signals with these facts (name, fs, uVpb, leads, started, remarks; frames is not used). The
/// name decides the format: ".edf" is EDF+, ".csv" is CSV in microvolts, all else is WFDB format 16 (PATH.hea
/// and PATH.dat). Samples are kept to the bit by EDF and WFDB.
std::unique_ptr<FrameSink> CreateRecord(const std::string& path, const SourceInfo& info);
