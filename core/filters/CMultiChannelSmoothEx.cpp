#include "core/filters/CMultiChannelSmoothEx.h"

static constexpr int kPlainLowpassHz = 25;
static constexpr int kStrongLowpassHz = 10;

CMultiChannelSmoothEx::CMultiChannelSmoothEx(int fs, int chn, bool strong)
    : m_stages(strong ? 3 : 1, CMultiChannelSmooth(fs, chn, strong ? kStrongLowpassHz : kPlainLowpassHz)) {}

void CMultiChannelSmoothEx::Init() {
    for (CMultiChannelSmooth& stage : m_stages) stage.Init();
}

int CMultiChannelSmoothEx::DelaySamples() const {
    int delay = 0;
    for (const CMultiChannelSmooth& stage : m_stages) delay += stage.DelaySamples();
    return delay;
}

void CMultiChannelSmoothEx::Smooth(short* frame) {
    for (CMultiChannelSmooth& stage : m_stages) stage.Smooth(frame);
}
