// AnalysisProgress: how far an analysis has come, as a bar on stderr over the frames of its source.
#pragma once

#include "host/analysis/AnalysisObserver.h"
#include "host/record/FrameSource.h"
#include "host/support/Progress.h"

class AnalysisProgress : public AnalysisObserver {
public:
    AnalysisProgress(const SourceInfo& info, bool enabled);
    void OnFrame(const short* frame) override;

private:
    ProgressBar m_bar;
    SourceInfo m_info;
    long long m_frames = 0;
};
