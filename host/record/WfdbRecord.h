// WfdbRecord: a recording in the WFDB layout, a text header (.hea) beside one or more binary signal files.
//
//   microvolts = (stored sample - baseline) / gain * microvolts per physical unit
//   sample     = microvolts / uVpb, rounded to the nearest whole number, halves away from zero
//
// The library knows one scale for all leads, a WFDB header one for each. uVpb is therefore chosen here: the
// smallest of 1, 2, 5, 10, 20 and 50 at which every value that the header's ADC resolutions allow fits into
// 16 bits. The range of an ADC of 24 bits is mostly there for what the electrodes add, and such a scale would
// be coarse: records with signals of formats 24, 32 and 524 are read once before, for the range that they
// use.
//
// Signal formats 8, 16, 24, 32, 61, 80, 160, 212, 310, 311, 508, 516 and 524. Frames here are those of
// FrameSource, with one sample of each lead; a frame of the header may hold several. Signals in a unit other
// than a voltage are not ECG and are left out with a warning, as are those of another rate than the first
// lead's; skewed signals are brought back into step. ECG signals without a gain, or with a gain of 0, are
// taken at 200 ADC units per millivolt, with a warning. Refused, with a HostError: records of several
// segments (WfdbSegments reads them), rates the analysis is not made for, signal files outside the header's
// folder, also by way of links.
//
// Holds a buffer for each signal file, never a whole one: a record of 24 hours needs no more memory than one
// of 10 seconds. The layout is described in header(5) and signal(5) of the WFDB Applications Guide.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/record/FrameSource.h"

class WfdbRecord : public FrameSource {
public:
    /// Reads the header and opens the signal files. `record` is the path of the header, with or without
    /// ".hea"; uVpb a scale to take instead of choosing one, in microvolts per unit, 0 to choose.
    explicit WfdbRecord(const std::string& record, double uVpb = 0);
    ~WfdbRecord() override;

    /// `frames` is what the header announces or, where it announces nothing, what the signal files hold.
    const SourceInfo& Info() const override { return m_info; }
    /// Frames that Read gives: fewer than announced where the signal files end early.
    long long FramesHeld() const;
    /// Throws HostError when a signal file cannot be read up to the length it had when it was opened.
    bool Read(short* frame) override;
    std::vector<std::string> Warnings() const override;
    std::vector<std::string> Describe() const override;
    std::vector<std::string> Files() const override { return m_files; }
    std::optional<StoredFrames> Stored() const override;

private:
    struct State;

    SourceInfo m_info;
    std::vector<std::string> m_files;
    std::unique_ptr<State> m_state;  // never null
};
