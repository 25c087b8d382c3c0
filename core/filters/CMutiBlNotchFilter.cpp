#include "core/filters/CMutiBlNotchFilter.h"

#include <algorithm>

#include "core/Arithmetic.h"

CMutiBlNotchFilter::CMutiBlNotchFilter(int freq, int fs, int chn)
    : m_filters(ElementCount(std::max(chn, 0)), CBlNotchFilter(freq, fs)) {}

void CMutiBlNotchFilter::Init(int freq, int /*fs*/) {
    for (CBlNotchFilter& filter : m_filters) filter.Init(freq, 0);
}

void CMutiBlNotchFilter::Filter(int* frame) {
    for (CBlNotchFilter& filter : m_filters) {
        *frame = filter.Filter(*frame);
        ++frame;
    }
}

void CMutiBlNotchFilter::Filter(short* frame) {
    for (CBlNotchFilter& filter : m_filters) {
        *frame = WrapToSample(filter.Filter(*frame));
        ++frame;
    }
}
