#include "core/filters/CMultiChannelSmoothEx.h"

static constexpr int kPlainLowpassHz = 25;
static constexpr int kStrongLowpassHz = 10;

CMultiChannelSmoothEx::CMultiChannelSmoothEx(int fs, int chn, bool strong)
    : m_stages(strong ? 3 : 1, CMultiChannelSmooth(fs, chn, strong ? kStrongLowpassHz : kPlainLowpassHz)) {}

void CMultiChannelSmoothEx::Init() {
    for (CMultiChannelSmooth& stage : m_stages) stage.Init();
}

void CMultiChannelSmoothEx::Smooth(short* frame) {
    for (CMultiChannelSmooth& stage : m_stages) stage.Smooth(frame);
}
