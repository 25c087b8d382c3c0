#include "core/filters/CMultiChannelNotch.h"

#include <algorithm>

#include "core/Arithmetic.h"

CMultiChannelNotch::CMultiChannelNotch(double f0, int fs, double Q, int chn)
    : m_filters(ElementCount(std::max(chn, 0)), CNotchFilter(f0, fs, Q)) {}

void CMultiChannelNotch::Filter(short* frame) {
    for (CNotchFilter& filter : m_filters) {
        *frame = WrapToSample(filter.Filter(static_cast<int>(*frame)));
        ++frame;
    }
}
