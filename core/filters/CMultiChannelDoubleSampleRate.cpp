#include "core/filters/CMultiChannelDoubleSampleRate.h"

#include <cstddef>

#include "core/Arithmetic.h"

CMultiChannelDoubleSampleRate::CMultiChannelDoubleSampleRate(short chn)
    : m_channels(ElementCount(chn)),
      m_pairs(m_channels.size()),
      m_first(m_channels.size()),
      m_second(m_channels.size()),
      m_frames{m_first.data(), m_second.data()} {
    for (std::size_t k = 0; k < m_channels.size(); ++k) m_pairs[k] = m_channels[k].GetOutputs();
}

void CMultiChannelDoubleSampleRate::Init(double uVpb) {
    for (CDoubleSampleRate& channel : m_channels) channel.Init(uVpb);
}

short** CMultiChannelDoubleSampleRate::GetDoubleSampleRateData(short* frame) {
    for (std::size_t k = 0; k < m_channels.size(); ++k) m_channels[k].CalculateReturnValues(frame[k]);
    return m_pairs.data();
}

short** CMultiChannelDoubleSampleRate::GetData() {
    for (std::size_t k = 0; k < m_channels.size(); ++k) {
        m_first[k] = m_pairs[k][0];
        m_second[k] = m_pairs[k][1];
    }
    return m_frames.data();
}
