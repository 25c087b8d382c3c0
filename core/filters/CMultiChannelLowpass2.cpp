#include "core/filters/CMultiChannelLowpass2.h"

#include <algorithm>

#include "core/Arithmetic.h"

CMultiChannelLowpass2::CMultiChannelLowpass2(double fc, int fs, int chn)
    : m_filters(ElementCount(std::max(chn, 0)), CLowpassFilter2(fc, fs)) {}

void CMultiChannelLowpass2::Init(double fc, int fs) {
    for (CLowpassFilter2& filter : m_filters) filter.Init(fc, fs);
}

void CMultiChannelLowpass2::Filter(short* frame) {
    for (CLowpassFilter2& filter : m_filters) {
        *frame = WrapToSample(filter.Filter(static_cast<int>(*frame)));
        ++frame;
    }
}
