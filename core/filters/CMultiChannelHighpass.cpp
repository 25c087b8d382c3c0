#include "core/filters/CMultiChannelHighpass.h"

#include <algorithm>

#include "core/Arithmetic.h"

CMultiChannelHighpass::CMultiChannelHighpass(double fc, int fs, int chn)
    : m_filters(ElementCount(std::max(chn, 0)), CHighpassFilter(fc, fs)) {}

void CMultiChannelHighpass::Init(double fc, int fs) {
    for (CHighpassFilter& filter : m_filters) filter.Init(fc, fs);
}

void CMultiChannelHighpass::Filter(short* frame) {
    for (CHighpassFilter& filter : m_filters) {
        *frame = WrapToSample(filter.Filter(static_cast<int>(*frame)));
        ++frame;
    }
}
