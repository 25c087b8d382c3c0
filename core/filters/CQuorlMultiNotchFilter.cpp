#include "core/filters/CQuorlMultiNotchFilter.h"

#include <algorithm>

#include "core/Arithmetic.h"

CQuorlMultiNotchFilter::CQuorlMultiNotchFilter(int freq, int fs, int chn)
    : m_filters(ElementCount(std::max(chn, 0)), CQuorlNotchFilter(freq, fs)) {}

void CQuorlMultiNotchFilter::Init(int freq, int fs) {
    for (CQuorlNotchFilter& filter : m_filters) filter.Init(freq, fs);
}

void CQuorlMultiNotchFilter::Filter(int* frame) {
    for (CQuorlNotchFilter& filter : m_filters) {
        *frame = filter.Filter(*frame);
        ++frame;
    }
}

void CQuorlMultiNotchFilter::Filter(short* frame) {
    for (CQuorlNotchFilter& filter : m_filters) {
        *frame = WrapToSample(filter.Filter(*frame));
        ++frame;
    }
}
