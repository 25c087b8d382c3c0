// CsvSink: a recording as text: a header line with names and units, "I (uV),II (uV)", and one line per frame
// with the microvolts of each lead.
//
// The values have as many decimals as the scale has, so that divided by it they give the sample again; the
// file does not tell the sampling rate.
#pragma once

#include <string>

#include "host/record/FrameSink.h"
#include "host/record/FrameSource.h"

class CsvSink : public FrameSink {
public:
    /// Throws HostError for a scale below 1e-6 microvolts per unit.
    CsvSink(const std::string& path, const SourceInfo& info);
    void Write(const short* frame) override;
    std::vector<PendingFile*> Finish() override { return {&m_file}; }

private:
    std::size_t m_chn;
    double m_uVpb;
    int m_decimals;
    PendingFile m_file;
    std::string m_line;
};
