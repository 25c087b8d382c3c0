#include "host/analysis/AnalysisProgress.h"

static constexpr int kFramesPerLook = 256;  // the clock is not read at every frame

AnalysisProgress::AnalysisProgress(const SourceInfo& info, bool enabled)
    : m_bar(info.name, static_cast<double>(info.frames) / info.fs, enabled), m_fs(info.fs) {}

void AnalysisProgress::OnFrame(const short* /*frame*/) {
    if (++m_frames % kFramesPerLook == 0) m_bar.Show(static_cast<double>(m_frames) / m_fs);
}
