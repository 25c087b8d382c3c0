// WfdbSink: a recording in the WFDB layout, format 16: BASE.hea, a text header, and BASE.dat, the samples of
// all leads interleaved, 16 bits each, low byte first.
//
// The samples are those of the frames to the bit: gain 1000 / uVpb units per millivolt, baseline 0. Readers
// take the sample -32768 for a missing one, as the format has it. The header carries each lead's initial
// value and checksum, so it is written last; memory does not grow with the recording.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/record/FrameSink.h"
#include "host/record/FrameSource.h"
#include "host/support/PendingFile.h"

class WfdbSink : public FrameSink {
public:
    /// `base` without ".hea". Throws HostError for a file name that a header could not hold as one word.
    WfdbSink(const std::string& base, const SourceInfo& info);
    void Write(const short* frame) override;
    std::vector<PendingFile*> Finish() override;

private:
    void WriteHeader();

    std::string m_name;  // of the record: the last part of `base`
    SourceInfo m_info;
    PendingFile m_header, m_samples;
    std::vector<char> m_bytes;         // of one frame
    std::vector<short> m_initial;      // first frame
    std::vector<std::uint16_t> m_sum;  // of each lead's samples, modulo 65536
    long long m_frames = 0;
};
