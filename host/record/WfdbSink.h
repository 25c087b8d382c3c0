// WfdbSink: a recording in the WFDB layout, format 16: BASE.hea, a text header, and BASE.dat, the samples of
// all leads interleaved, 16 bits each, low byte first.
//
// The samples are those of the frames to the bit: gain 1000 / uVpb units per millivolt, baseline 0. Readers
// take the sample -32768 for a missing one, as the format has it. The header carries each lead's initial
// value and checksum, so it is written last; memory does not grow with the recording.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "host/record/FrameSink.h"
#include "host/record/FrameSource.h"
#include "host/support/PendingFile.h"

/// What a header tells of the samples beside it.
struct WfdbTotals {
    explicit WfdbTotals(std::size_t leads) : sum(leads) {}
    void Add(const short* frame);

    long long frames = 0;            // 0: the length is left to the samples' file
    std::vector<short> initial;      // first frame; empty before there is one
    std::vector<std::uint16_t> sum;  // of each lead's samples, modulo 65536
};
/// Writes the header of record `name`, whose samples are all in NAME.dat.
void WriteWfdbHeader(std::ostream& out, const std::string& name, const SourceInfo& info,
                     const WfdbTotals& totals);

class WfdbSink : public FrameSink {
public:
    /// `base` without ".hea". Throws HostError for a file name that a header could not hold as one word.
    WfdbSink(const std::string& base, const SourceInfo& info);
    void Write(const short* frame) override;
    std::vector<PendingFile*> Finish() override;

private:
    std::string m_name;  // of the record: the last part of `base`
    SourceInfo m_info;
    PendingFile m_header, m_samples;
    std::vector<char> m_bytes;  // of one frame
    WfdbTotals m_totals;
};
