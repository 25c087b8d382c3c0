#include "core/filters/CMultiChannelLowpass2.h"

#include <algorithm>

#include "core/filters/internal/SectionFrame.h"

CMultiChannelLowpass2::CMultiChannelLowpass2(double fc, int fs, int chn)
    : m_lead(fc, fs), m_leads(ElementCount(std::max(chn, 0))) {
    m_bank.Init(m_lead.Coefficients(), m_leads, kLargestSample);
}

void CMultiChannelLowpass2::Init(double fc, int fs) {
    m_lead.Init(fc, fs);
    m_bank.Init(m_lead.Coefficients(), m_leads, kLargestSample);
}

void CMultiChannelLowpass2::Filter(short* frame) {
    SectionFrame step(m_bank);
    ChangeEachFour(frame, m_leads, [&step](std::size_t four, IntLanes x) {
        return step.Truncate(step.Step(four, ToDoubles(x)));
    });
}
