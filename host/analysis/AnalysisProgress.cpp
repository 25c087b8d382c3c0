#include "host/analysis/AnalysisProgress.h"

static constexpr int kFramesPerLook = 256;  // the clock is not read at every frame

AnalysisProgress::AnalysisProgress(const SourceInfo& info, bool enabled)
    : m_bar(info.name, info.SecondsOf(info.frames), enabled), m_info(info) {}

void AnalysisProgress::OnFrame(const short* /*frame*/) {
    if (++m_frames % kFramesPerLook == 0) m_bar.Show(m_info.SecondsOf(m_frames));
}
