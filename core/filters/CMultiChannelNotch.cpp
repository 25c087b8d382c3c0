#include "core/filters/CMultiChannelNotch.h"

#include <algorithm>

#include "core/filters/internal/SectionFrame.h"

CMultiChannelNotch::CMultiChannelNotch(double f0, int fs, double Q, int chn)
    : m_lead(f0, fs, Q), m_leads(ElementCount(std::max(chn, 0))) {
    m_bank.Init(m_lead.Coefficients(), m_leads, kLargestSample);
}

void CMultiChannelNotch::Filter(short* frame) {
    SectionFrame step(m_bank);
    ChangeEachFour(frame, m_leads, [&step](std::size_t four, IntLanes x) {
        return step.Truncate(step.Step(four, ToDoubles(x)));
    });
}
