// CsvSink: a recording as text, which CsvRecord reads again without being told anything.
//
//   # sampling_rate_hz: 500
//   # started: 2021-02-28 23:59:58
//   time_s,I (uV),II (uV)
//   0.000,-12,34
//
// Where the start is not known its line is missing; remarks are comments too. The values have as many
// decimals as the scale has, so that divided by it they give the sample again.
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
    void PutNumber(double value, int decimals, char behind);

    std::size_t m_chn;
    int m_fs;
    long long m_frames = 0;
    double m_uVpb;
    int m_decimals;
    PendingFile m_file;
    std::string m_line;
};
