// CMultiChannelSmoothEx: the smoothing stage of the filter chain, one or three CMultiChannelSmooth in a row,
// on whole frames in place. Samples of 16 bits pass between the stages.
// The constructor allocates; Smooth does not. One object belongs to one thread.
#pragma once

#include <vector>

#include "core/Export.h"
#include "core/filters/CMultiChannelSmooth.h"

class QZ_API CMultiChannelSmoothEx {
public:
    /// fs in samples per second, chn leads (0 or below makes an empty bank). Plain: one stage with a 25 Hz
    /// inner low-pass; strong: three stages with 10 Hz.
    CMultiChannelSmoothEx(int fs, int chn, bool strong);
    /// CMultiChannelSmooth::Init of every stage.
    void Init();
    /// One frame of chn samples, through every stage in turn.
    void Smooth(short* frame);
    /// Delay and settling time of all stages together, samples; 0 for an empty bank.
    int DelaySamples() const { return Stages() * m_stages.front().DelaySamples(); }
    int SettlingSamples() const { return Stages() * m_stages.front().SettlingSamples(); }

private:
    int Stages() const { return static_cast<int>(m_stages.size()); }

    std::vector<CMultiChannelSmooth> m_stages;  // one or three, all alike
};
