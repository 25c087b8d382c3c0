// Exporter: the conditioned signal of a running analysis as a recording of its own.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/filters/CMultiChannelDoubleSampleRate.h"
#include "host/analysis/AnalysisObserver.h"
#include "host/record/FrameSink.h"
#include "host/record/FrameSource.h"

class Exporter : public AnalysisObserver {
public:
    /// `info` tells of the source; the recording has its leads at 1 uV per unit and its rate, or, doubled,
    /// twice its rate and one frame fewer than twice as many. `path` decides the format, as CreateRecord has
    /// it.
    Exporter(const std::string& path, const SourceInfo& info, bool doubled);
    void OnConditioned(const short* uV, double seconds) override;
    /// As FrameSink::Finish.
    std::vector<PendingFile*> Finish();

private:
    void WriteDoubled();

    std::unique_ptr<FrameSink> m_sink;
    std::optional<CMultiChannelDoubleSampleRate> m_doubler;
    std::vector<short> m_last;  // the latest frame
    long long m_framesIn = 0;
};
