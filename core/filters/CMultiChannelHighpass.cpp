#include "core/filters/CMultiChannelHighpass.h"

#include <algorithm>

#include "core/filters/internal/SectionFrame.h"

CMultiChannelHighpass::CMultiChannelHighpass(double fc, int fs, int chn)
    : m_lead(fc, fs), m_leads(ElementCount(std::max(chn, 0))) {
    m_bank.Init(m_lead.Coefficients(), m_leads, kLargestSample);
}

void CMultiChannelHighpass::Init(double fc, int fs) {
    m_lead.Init(fc, fs);
    m_bank.Init(m_lead.Coefficients(), m_leads, kLargestSample);
}

void CMultiChannelHighpass::Filter(short* frame) {
    SectionFrame step(m_bank);
    ChangeEachFour(frame, m_leads, [&step](std::size_t four, IntLanes x) {
        return step.Truncate(step.StepWithZeroBelow(CHighpassFilter::kSilence, four, ToDoubles(x)));
    });
}
