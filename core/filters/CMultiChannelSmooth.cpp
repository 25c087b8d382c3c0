#include "core/filters/CMultiChannelSmooth.h"

#include <algorithm>

#include "core/Arithmetic.h"

CMultiChannelSmooth::CMultiChannelSmooth(int fs, int chn, int fc)
    : m_filters(ElementCount(std::max(chn, 0)), CSmoothFilter(fs, fc)) {}

void CMultiChannelSmooth::Init() {
    for (CSmoothFilter& filter : m_filters) filter.Init();
}

void CMultiChannelSmooth::Smooth(short* frame) {
    for (CSmoothFilter& filter : m_filters) {
        *frame = WrapToSample(filter.Smooth(*frame));
        ++frame;
    }
}
